#include "peripherals/wifi/zolv-wifi-ti-wl1837.h"

#include "core/zolv-class.h"

struct _ZolvWiFiTIWL1837Private {};

ZOLV_DEFINE_CLASS(ZolvWiFiTIWL1837, zolv_wifi_ti_wl1837, ZOLV_TYPE_WIFI)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "WiFi");
}
