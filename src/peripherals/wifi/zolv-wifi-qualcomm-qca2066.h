#pragma once

#include "peripherals/wifi/zolv-wifi.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_WIFI_QUALCOMM_QCA2066 (zolv_wifi_qualcomm_qca2066_get_type())
ZOLV_DECLARE_CLASS(ZolvWiFiQualcommQCA2066, zolv_wifi_qualcomm_qca2066, WIFI_QUALCOMM_QCA2066,
                   ZolvWiFi)

/**
 * ZolvWiFiQualcommQCA2066Class:
 *
 * A module on PCI Express. Its network interface has its product in the udev property ID_MODEL_ID.
 */
struct _ZolvWiFiQualcommQCA2066Class {
    ZolvWiFiClass parent_class;
};

G_END_DECLS
