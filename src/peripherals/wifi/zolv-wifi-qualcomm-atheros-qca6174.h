#pragma once

#include "peripherals/wifi/zolv-wifi.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_WIFI_QUALCOMM_ATHEROS_QCA6174 (zolv_wifi_qualcomm_atheros_qca6174_get_type())
ZOLV_DECLARE_CLASS(ZolvWiFiQualcommAtherosQCA6174, zolv_wifi_qualcomm_atheros_qca6174,
                   WIFI_QUALCOMM_ATHEROS_QCA6174, ZolvWiFi)

/**
 * ZolvWiFiQualcommAtherosQCA6174Class:
 *
 * A module on PCI Express; every network interface below it is its own.
 */
struct _ZolvWiFiQualcommAtherosQCA6174Class {
    ZolvWiFiClass parent_class;
};

G_END_DECLS
