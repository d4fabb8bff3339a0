#pragma once

#include "core/zolv-class.h"
#include "peripherals/wifi/zolv-wifi.h"

namespace zolv {

/* How a model is told from others by its identifiers, attributes of its bus device in sysfs, and
 * which network interface below it is its own. */
struct WiFiModel {
    const char *vendor_attribute;
    const char *vendor;
    const char *product_attribute;
    const char *product;
    /* A udev property of the interface; null where every interface is the model's. */
    const char *interface_property = nullptr;
    const char *interface_value = nullptr;
};

/* By the identifiers of each bus, as the kernel writes them. */
constexpr WiFiModel
usb_wifi(const char *vendor, const char *product)
{
    return {"idVendor", vendor, "idProduct", product};
}

constexpr WiFiModel
pci_wifi(const char *vendor, const char *product)
{
    return {"vendor", vendor, "device", product};
}

constexpr WiFiModel
sdio_wifi(const char *vendor, const char *product)
{
    return pci_wifi(vendor, product);
}

/* The same model, with the one interface that has that property. */
constexpr WiFiModel
with_interface(WiFiModel model, const char *property, const char *value)
{
    model.interface_property = property;
    model.interface_value = value;
    return model;
}

bool is_wifi_model(const WiFiModel &model, GUdevDevice *device);
/* Whether the device was the module's network interface, which is defined then. */
bool add_wifi_interface(const WiFiModel &model, ZolvWiFi *wifi, GUdevDevice *device);

/* Fills the slots of a model's class. */
template <const WiFiModel &model>
void
define_wifi_model(ZolvWiFiClass *klass)
{
    set_type_word(ZOLV_OBJ_CLASS(klass), "WiFi");
    klass->device_add = [](ZolvWiFi *self, GUdevDevice *device) -> gboolean {
        return add_wifi_interface(model, self, device);
    };
    klass->check_matched = [](ZolvWiFi *, GUdevDevice *device) -> gboolean {
        return is_wifi_model(model, device);
    };
}

} // namespace zolv
