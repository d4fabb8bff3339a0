#include "peripherals/cellular/zolv-cellular-models.h"

namespace {

struct Subsystem {
    const char *name;
    bool (*add)(ZolvCellular *self, const zolv::CellularModel &model, GUdevDevice *device);
};

bool
add_interface(ZolvCellular *self, const zolv::CellularModel &, GUdevDevice *device)
{
    zolv_cellular_define_device_name(self, g_udev_device_get_name(device));
    return true;
}

bool
add_qmi_port(ZolvCellular *self, const zolv::CellularModel &, GUdevDevice *device)
{
    zolv_cellular_define_qmiport(self, g_udev_device_get_device_file(device));
    return true;
}

bool
add_tty(ZolvCellular *self, const zolv::CellularModel &model, GUdevDevice *device)
{
    const char *number = g_udev_device_get_property(device, "ID_USB_INTERFACE_NUM");
    const char *file = g_udev_device_get_device_file(device);

    if (g_strcmp0(number, model.gps) == 0)
        zolv_cellular_define_gpsport(self, file);
    else if (g_strcmp0(number, model.at) == 0)
        zolv_cellular_define_atport(self, file);
    else
        return false;
    return true;
}

constexpr std::array subsystems = {
    Subsystem{"net", add_interface},
    Subsystem{"usbmisc", add_qmi_port},
    Subsystem{"tty", add_tty},
};

} // namespace

bool
zolv::cellular_matches(const CellularModel &model, GUdevDevice *device)
{
    return g_strcmp0(g_udev_device_get_sysfs_attr(device, "idVendor"), model.vendor) == 0 &&
           g_strcmp0(g_udev_device_get_sysfs_attr(device, "idProduct"), model.product) == 0;
}

bool
zolv::cellular_add_port(ZolvCellular *self, const CellularModel &model, GUdevDevice *device)
{
    for (const Subsystem &subsystem : subsystems)
        if (g_strcmp0(g_udev_device_get_subsystem(device), subsystem.name) == 0)
            return subsystem.add(self, model, device);
    return false;
}
