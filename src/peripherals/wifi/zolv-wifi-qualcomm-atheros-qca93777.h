#pragma once

#include "peripherals/wifi/zolv-wifi.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_WIFI_QUALCOMM_ATHEROS_QCA93777 (zolv_wifi_qualcomm_atheros_qca93777_get_type())
ZOLV_DECLARE_CLASS(ZolvWiFiQualcommAtherosQCA93777, zolv_wifi_qualcomm_atheros_qca93777,
                   WIFI_QUALCOMM_ATHEROS_QCA93777, ZolvWiFi)

/**
 * ZolvWiFiQualcommAtherosQCA93777Class:
 *
 * The module QCA9377 on USB; every network interface below it is its own.
 */
struct _ZolvWiFiQualcommAtherosQCA93777Class {
    ZolvWiFiClass parent_class;
};

G_END_DECLS
