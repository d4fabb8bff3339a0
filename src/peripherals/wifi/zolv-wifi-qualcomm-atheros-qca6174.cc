#include "peripherals/wifi/zolv-wifi-qualcomm-atheros-qca6174.h"

#include "peripherals/wifi/zolv-wifi-model.h"

namespace {

constexpr zolv::WiFiModel model = zolv::pci_wifi("0x168c", "0x003e");

} // namespace

struct _ZolvWiFiQualcommAtherosQCA6174Private {};

ZOLV_DEFINE_CLASS(ZolvWiFiQualcommAtherosQCA6174, zolv_wifi_qualcomm_atheros_qca6174,
                  ZOLV_TYPE_WIFI)
{
    zolv::define_wifi_model<model>(ZOLV_WIFI_CLASS(klass));
}
