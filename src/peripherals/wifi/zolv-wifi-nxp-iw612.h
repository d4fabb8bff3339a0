#pragma once

#include "peripherals/wifi/zolv-wifi.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_WIFI_NXP_IW612 (zolv_wifi_nxp_iw612_get_type())
ZOLV_DECLARE_CLASS(ZolvWiFiNXPIW612, zolv_wifi_nxp_iw612, WIFI_NXP_IW612, ZolvWiFi)

/**
 * ZolvWiFiNXPIW612Class:
 *
 * A module on SDIO. Of the network interfaces that its driver makes, "mlan0" is the one that
 * connects to networks.
 */
struct _ZolvWiFiNXPIW612Class {
    ZolvWiFiClass parent_class;
};

G_END_DECLS
