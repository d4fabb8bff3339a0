#include "peripherals/wifi/zolv-wifi-qualcomm-qca2066.h"

#include "peripherals/wifi/zolv-wifi-model.h"

namespace {

constexpr zolv::WiFiModel model =
    zolv::with_interface(zolv::pci_wifi("0x17cb", "0x1103"), "ID_MODEL_ID", "0x1103");

} // namespace

struct _ZolvWiFiQualcommQCA2066Private {};

ZOLV_DEFINE_CLASS(ZolvWiFiQualcommQCA2066, zolv_wifi_qualcomm_qca2066, ZOLV_TYPE_WIFI)
{
    zolv::define_wifi_model<model>(ZOLV_WIFI_CLASS(klass));
}
