#include "peripherals/wifi/zolv-wifi-qualcomm-atheros-qca93777.h"

#include "peripherals/wifi/zolv-wifi-model.h"

namespace {

constexpr zolv::WiFiModel model = zolv::usb_wifi("0cf3", "9378");

} // namespace

struct _ZolvWiFiQualcommAtherosQCA93777Private {};

ZOLV_DEFINE_CLASS(ZolvWiFiQualcommAtherosQCA93777, zolv_wifi_qualcomm_atheros_qca93777,
                  ZOLV_TYPE_WIFI)
{
    zolv::define_wifi_model<model>(ZOLV_WIFI_CLASS(klass));
}
