#include "peripherals/socket/zolv-socket-modules.h"

#include "core/zolv-text.h"
#include "peripherals/cellular/zolv-cellular-quectel-ec20.h"
#include "peripherals/cellular/zolv-cellular-quectel-rm520n.h"
#include "peripherals/cellular/zolv-cellular-telit-fn990.h"
#include "peripherals/cellular/zolv-cellular-telit-le910.h"
#include "peripherals/cellular/zolv-cellular-telit-le910c4wwx.h"
#include "peripherals/wifi/zolv-wifi-nxp-iw612.h"
#include "peripherals/wifi/zolv-wifi-qualcomm-atheros-qca6174.h"
#include "peripherals/wifi/zolv-wifi-qualcomm-atheros-qca93777.h"
#include "peripherals/wifi/zolv-wifi-qualcomm-qca2066.h"

#include <array>
#include <cstring>

namespace {

using Bus = zolv::ModuleBus;
using Kind = zolv::ModuleKind;

/* clang-format off */
constexpr std::array rows = {
    zolv::ModuleRow{Bus::usb, "1bc7", "1201", Kind::cellular, zolv_cellular_telit_le910_get_type, "Telit %s"},
    zolv::ModuleRow{Bus::usb, "1bc7", "1031", Kind::cellular, zolv_cellular_telit_le910c4wwx_get_type, "Telit %s"},
    zolv::ModuleRow{Bus::usb, "1bc7", "1070", Kind::cellular, zolv_cellular_telit_fn990_get_type, "Telit %s"},
    zolv::ModuleRow{Bus::usb, "1bc7", "900e", Kind::protection},
    zolv::ModuleRow{Bus::usb, "2c7c", "0125", Kind::cellular, zolv_cellular_quectel_ec20_get_type, "Quectel %s"},
    zolv::ModuleRow{Bus::usb, "2c7c", "0801", Kind::cellular, zolv_cellular_quectel_rm520n_get_type, "Quectel %s"},
    zolv::ModuleRow{Bus::usb, "0cf3", "e300", Kind::ignored}, /* the Bluetooth part of a Wi-Fi module */
    zolv::ModuleRow{Bus::usb, "0cf3", "9378", Kind::wifi, zolv_wifi_qualcomm_atheros_qca93777_get_type, "SparkLAN %s"},
    zolv::ModuleRow{Bus::pci, "0x168c", "0x003e", Kind::wifi, zolv_wifi_qualcomm_atheros_qca6174_get_type, "Qualcomm Atheros QCA6174"},
    zolv::ModuleRow{Bus::pci, "0x17cb", "0x1103", Kind::wifi, zolv_wifi_qualcomm_qca2066_get_type, "Qualcomm QCA2066"},
    zolv::ModuleRow{Bus::sdio, "0x0471", "0x0205", Kind::wifi, zolv_wifi_nxp_iw612_get_type, "NXP IW612"},
    zolv::ModuleRow{Bus::pci, "0x8086", "0x9db4", Kind::ignored}, /* root ports of the computer */
    zolv::ModuleRow{Bus::pci, "0x8086", "0x9db5", Kind::ignored},
};

struct BusRow {
    Bus bus;
    const char *name;                          /* for the log */
    const char *(*asked)(GUdevDevice *device); /* what tells that a device is on this bus */
    const char *answer;
    const char *vendor; /* attributes in sysfs */
    const char *product;
    const char *text;   /* may be null */
};

constexpr std::array buses = {
    BusRow{Bus::usb, "usb", g_udev_device_get_devtype, "usb_device", "idVendor", "idProduct", "product"},
    BusRow{Bus::pci, "pcie", g_udev_device_get_subsystem, "pci", "vendor", "device", nullptr},
    BusRow{Bus::sdio, "sdio", g_udev_device_get_subsystem, "sdio", "vendor", "device", nullptr},
};
/* clang-format on */

const BusRow &
row_of(Bus bus)
{
    return buses.at(static_cast<std::size_t>(bus));
}

std::string
attribute(GUdevDevice *device, const char *name)
{
    return zolv::fit_text(name != nullptr ? g_udev_device_get_sysfs_attr(device, name) : nullptr);
}

} // namespace

const std::span<const zolv::ModuleRow> zolv::module_rows = rows;

const char *
zolv::ModuleDevice::bus_name() const
{
    return row_of(bus).name;
}

std::string
zolv::ModuleDevice::identifiers() const
{
    return vendor + "/" + product + (row_of(bus).text != nullptr ? "/" + text : "");
}

bool
zolv::read_module_device(GUdevDevice *device, ModuleDevice &read)
{
    for (const BusRow &row : buses) {
        if (g_strcmp0(row.asked(device), row.answer) != 0)
            continue;
        read = {row.bus, attribute(device, row.vendor), attribute(device, row.product),
                attribute(device, row.text)};
        return true;
    }
    return false;
}

const zolv::ModuleRow *
zolv::find_module_row(const ModuleDevice &device)
{
    for (const ModuleRow &row : module_rows)
        if (row.bus == device.bus && device.vendor == row.vendor && device.product == row.product)
            return &row;
    return nullptr;
}

std::string
zolv::module_name(const ModuleRow &row, const ModuleDevice &device)
{
    std::string name = row.name;
    const auto place = name.find("%s");

    return place == std::string::npos ? name : name.replace(place, 2, device.text);
}

bool
zolv::path_is_below(const char *path, const std::string &device_path)
{
    return std::strncmp(path, device_path.c_str(), device_path.size()) == 0 &&
           (path[device_path.size()] == '\0' || path[device_path.size()] == '/');
}
