#include "peripherals/serialport/zolv-serialport-type8.h"

#include "core/zolv-class.h"
#include "peripherals/serialport/zolv-serial-ioctl.h"
#include "peripherals/serialport/zolv-serialport-internal.h"

#include <cstring>

namespace {

/* The card's two ports. */
constexpr char first_port[] = "/dev/ttyV0";
constexpr char second_port[] = "/dev/ttyV1";

} // namespace

struct _ZolvSerialPortType8Private {};

static gboolean
serialport_type8_set_interface(ZolvSerialPort *port, guint mode, GError **error)
{
    if (mode == SERIALPORT_RS485_2W)
        return zolv::set_op_mode(first_port, mode, error) &&
               zolv::set_op_mode(second_port, mode, error);
    return zolv::set_op_mode(zolv_serialport_get_device(port), mode, error);
}

/* The second port has no wires of its own but for RS-485 of the first. */
static gboolean
serialport_type8_get_interface(ZolvSerialPort *port, guint *mode, GError **error)
{
    const char *device = zolv_serialport_get_device(port);
    guint own = 0;
    guint first = 0;

    if (!zolv::get_op_mode(device, &own, error))
        return FALSE;
    if (strcmp(device, second_port) == 0) {
        if (!zolv::get_op_mode(first_port, &first, error))
            return FALSE;
        own = first == SERIALPORT_RS485_2W ? SERIALPORT_RS485_2W : SERIALPORT_NO_INTERFACE;
    }
    *mode = own;
    return TRUE;
}

ZOLV_DEFINE_CLASS(ZolvSerialPortType8, zolv_serialport_type8, ZOLV_TYPE_SERIALPORT)
{
    ZolvSerialPortClass *port_class = ZOLV_SERIALPORT_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "SerialPort");
    port_class->check_ready = zolv::has_device;
    port_class->set_interface = serialport_type8_set_interface;
    port_class->get_interface = serialport_type8_get_interface;
}
