#include "peripherals/serialport/zolv-serialport-serivo.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "peripherals/serialport/zolv-adapter-models.h"
#include "peripherals/serialport/zolv-adapter-name.h"
#include "peripherals/serialport/zolv-serial-ioctl.h"
#include "peripherals/serialport/zolv-serialport-internal.h"

#include <optional>
#include <string>

#define TYPE_WORD "SerialPort"

namespace {

constexpr int open_tries = 5;

std::optional<std::string>
name_of(GUdevDevice *device, const char *attached_interface)
{
    const char *full_model_name = g_udev_device_get_property(device, "ID_MODEL");
    const char *const *links = g_udev_device_get_device_file_symlinks(device);

    ZOLV_ASSERT(full_model_name != NULL);
    ZOLV_ASSERT(links[0] != NULL);
    return zolv::adapter_port_name(attached_interface, full_model_name, links[0]);
}

} // namespace

struct _ZolvSerialPortSerivoPrivate {};

static gboolean
serialport_serivo_check_ready(ZolvSerialPort *port)
{
    if (!zolv::has_device(port))
        return FALSE;
    for (int i = 0; i < open_tries; ++i) {
        if (zolv::can_open_serial(zolv_serialport_get_device(port)))
            return TRUE;
        g_usleep(G_USEC_PER_SEC);
    }
    return FALSE;
}

ZOLV_DEFINE_CLASS(ZolvSerialPortSerivo, zolv_serialport_serivo, ZOLV_TYPE_SERIALPORT)
{
    ZolvSerialPortClass *port_class = ZOLV_SERIALPORT_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), TYPE_WORD);
    port_class->check_ready = serialport_serivo_check_ready;
    port_class->set_interface = zolv::set_mode_by_port_field;
    port_class->get_interface = zolv::get_mode_by_port_field;
}

void
zolv_serialport_serivo_create_serivo(ZolvBaseManager *manager, GUdevDevice *udev_device,
                                     const char *attached_interface)
{
    ZOLV_ASSERT(attached_interface != NULL);
    const char *file = g_udev_device_get_device_file(udev_device);
    const std::span<const guint> interfaces =
        zolv::adapter_interfaces(g_udev_device_get_property(udev_device, "ID_VENDOR_ID"),
                                 g_udev_device_get_property(udev_device, "ID_MODEL_ID"));
    const std::optional<std::string> name = name_of(udev_device, attached_interface);

    if (!name)
        return;
    ZolvSerialPort *port = ZOLV_SERIALPORT(
        zolv_base_manager_create_new_object(manager, ZOLV_TYPE_SERIALPORT_SERIVO, name->c_str()));
    zolv_serialport_define_supported_baudrates(port, zolv::adapter_baudrates.size(),
                                               zolv::adapter_baudrates.data());
    zolv_serialport_define_supported_interfaces(port, static_cast<guint>(interfaces.size()),
                                                interfaces.data());
    zolv_serialport_define_device(port, file, file);
}

void
zolv_serialport_serivo_remove_serivo(ZolvBaseManager *manager, GUdevDevice *udev_device,
                                     const char *attached_interface)
{
    ZOLV_ASSERT(attached_interface != NULL);
    const std::optional<std::string> name = name_of(udev_device, attached_interface);

    if (!name)
        return;
    ZolvObj *port = zolv_base_manager_find_object(manager, (TYPE_WORD "/" + *name).c_str());
    if (port != nullptr)
        zolv_obj_unexport(port);
}
