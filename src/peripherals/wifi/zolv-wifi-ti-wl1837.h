#pragma once

#include "peripherals/wifi/zolv-wifi.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_WIFI_TI_WL1837 (zolv_wifi_ti_wl1837_get_type())
ZOLV_DECLARE_CLASS(ZolvWiFiTIWL1837, zolv_wifi_ti_wl1837, WIFI_TI_WL1837, ZolvWiFi)

/**
 * ZolvWiFiTIWL1837Class:
 *
 * A radio on the main board. A plugin creates and describes it; devices are not handed to it.
 */
struct _ZolvWiFiTIWL1837Class {
    ZolvWiFiClass parent_class;
};

G_END_DECLS
