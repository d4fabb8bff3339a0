#include "peripherals/wifi/zolv-wifi-nxp-iw612.h"

#include "peripherals/wifi/zolv-wifi-model.h"

namespace {

constexpr zolv::WiFiModel model =
    zolv::with_interface(zolv::sdio_wifi("0x0471", "0x0205"), "INTERFACE", "mlan0");

} // namespace

struct _ZolvWiFiNXPIW612Private {};

ZOLV_DEFINE_CLASS(ZolvWiFiNXPIW612, zolv_wifi_nxp_iw612, ZOLV_TYPE_WIFI)
{
    zolv::define_wifi_model<model>(ZOLV_WIFI_CLASS(klass));
}
