#include "peripherals/wifi/zolv-wifi-model.h"

bool
zolv::is_wifi_model(const WiFiModel &model, GUdevDevice *device)
{
    const auto has = [device](const char *attribute, const char *value) {
        return g_strcmp0(g_udev_device_get_sysfs_attr(device, attribute), value) == 0;
    };

    return has(model.vendor_attribute, model.vendor) && has(model.product_attribute, model.product);
}

bool
zolv::add_wifi_interface(const WiFiModel &model, ZolvWiFi *wifi, GUdevDevice *device)
{
    const char *name = g_udev_device_get_property(device, "INTERFACE");

    if (g_strcmp0(g_udev_device_get_subsystem(device), "net") != 0 || name == nullptr)
        return false;
    if (model.interface_property != nullptr &&
        g_strcmp0(g_udev_device_get_property(device, model.interface_property),
                  model.interface_value) != 0)
        return false;
    zolv_wifi_define_device_name(wifi, name);
    return true;
}
