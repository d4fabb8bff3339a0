#include "peripherals/serialport/zolv-serialport-type9.h"

#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "peripherals/serialport/zolv-serial-ioctl.h"
#include "peripherals/serialport/zolv-serialport-internal.h"

namespace {

/* In the driver's field `port`. */
constexpr guint mode_mask = 0xf;
constexpr guint pull_up_down_bit = 0x10;
constexpr guint terminator_bit = 0x20;

bool
is_rs485(guint mode)
{
    return (mode & ~2U) == SERIALPORT_RS485_2W;
}

guint
bit_if_on(const zolv::StoredSwitch &which, guint bit)
{
    return which.published() == zolv::StoredSwitch::on ? bit : 0;
}

} // namespace

struct _ZolvSerialPortType9Private {};

static gboolean
serialport_type9_set_interface(ZolvSerialPort *port, guint mode, GError **error)
{
    guint field = mode;

    if (is_rs485(mode))
        field |= bit_if_on(zolv::pull_up_down(port), pull_up_down_bit) |
                 bit_if_on(zolv::terminator(port), terminator_bit);
    return zolv::set_mode_by_port_field(port, field, error);
}

static gboolean
serialport_type9_get_interface(ZolvSerialPort *port, guint *mode, GError **error)
{
    guint field = 0;

    if (!zolv::get_mode_by_port_field(port, &field, error))
        return FALSE;
    *mode = field & mode_mask;
    return TRUE;
}

/* The published state is what the next mode takes along, so it changes first. */
static bool
set_switch(ZolvSerialPort *port, zolv::StoredSwitch &which, guint state, const char *complaint,
           GError **error)
{
    guint mode = 0;

    if (!serialport_type9_get_interface(port, &mode, error))
        return false;
    if (!is_rs485(mode))
        return zolv::fail(error, ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT, complaint);
    which.publish(state);
    return serialport_type9_set_interface(port, mode, error);
}

static gboolean
serialport_type9_set_pull_up_down(ZolvSerialPort *port, guint state, GError **error)
{
    return set_switch(port, zolv::pull_up_down(port), state,
                      "set pull up/down is only supported on RS485 interfaces", error);
}

static gboolean
serialport_type9_set_terminator(ZolvSerialPort *port, guint state, GError **error)
{
    return set_switch(port, zolv::terminator(port), state,
                      "set terminator is only supported on RS485 interfaces", error);
}

ZOLV_DEFINE_CLASS(ZolvSerialPortType9, zolv_serialport_type9, ZOLV_TYPE_SERIALPORT)
{
    ZolvSerialPortClass *port_class = ZOLV_SERIALPORT_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "SerialPort");
    port_class->check_ready = zolv::has_device;
    port_class->set_interface = serialport_type9_set_interface;
    port_class->get_interface = serialport_type9_get_interface;
    port_class->set_pull_up_down = serialport_type9_set_pull_up_down;
    port_class->set_terminator = serialport_type9_set_terminator;
}

void
zolv_serialport_type9_define_pull_up_down(ZolvSerialPortType9 *self)
{
    ZolvSerialPort *port = ZOLV_SERIALPORT(self);

    zolv::pull_up_down(port).define();
    ZOLV_SERIALPORT_GET_CLASS(self)->set_pull_up_down_configurable(port, TRUE);
}

void
zolv_serialport_type9_define_terminator(ZolvSerialPortType9 *self)
{
    ZolvSerialPort *port = ZOLV_SERIALPORT(self);

    zolv::terminator(port).define();
    ZOLV_SERIALPORT_GET_CLASS(self)->set_terminator_configurable(port, TRUE);
}
