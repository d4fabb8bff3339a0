#include "peripherals/serialport/zolv-serialport-type10.h"

#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "helpers/zolv-gpio-line.h"
#include "helpers/zolv-setting.h"
#include "peripherals/serialport/zolv-serial-ioctl.h"
#include "peripherals/serialport/zolv-serialport-internal.h"

namespace {

bool
drive_pin(const zolv::GpioLine &pin, guint level, GError **error)
{
    return pin.number() == 0 || pin.drive(level, nullptr) ||
           zolv::failf(error, ZOLV_CORE_ERROR_DEVICE_IO, "Set GPIO pin %d failed", pin.number());
}

} // namespace

struct _ZolvSerialPortType10Private {
    explicit _ZolvSerialPortType10Private(ZolvSerialPortType10 *self)
        : interface(ZOLV_OBJ(self), "Interface")
    {
    }

    zolv::GpioLine pin; /* number 0 is none: no board has its transceiver there */
    bool pin_defined = false;
    zolv::Setting<guint> interface;
};

static gboolean
serialport_type10_check_ready(ZolvSerialPort *port)
{
    return zolv::has_device(port) && ZOLV_SERIALPORT_TYPE10(port)->priv->pin_defined;
}

static gboolean
serialport_type10_set_interface(ZolvSerialPort *port, guint mode, GError **error)
{
    const ZolvSerialPortType10Private *priv = ZOLV_SERIALPORT_TYPE10(port)->priv;

    if (mode != SERIALPORT_RS232 && mode != SERIALPORT_RS485_2W)
        return zolv::failf(error, ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE, "unknown interface: %d",
                           static_cast<int>(mode));
    if (!drive_pin(priv->pin, mode == SERIALPORT_RS232 ? 1 : 0, error) ||
        !zolv::set_kernel_rs485(zolv_serialport_get_device(port), mode == SERIALPORT_RS485_2W,
                                error))
        return FALSE;
    priv->interface.store(mode);
    return TRUE;
}

static gboolean
serialport_type10_get_interface(ZolvSerialPort *port, guint *mode, GError **error)
{
    const std::optional<guint> stored = ZOLV_SERIALPORT_TYPE10(port)->priv->interface.read();

    if (!stored)
        return zolv::fail(error, ZOLV_CORE_ERROR_SYSTEM, "Failed to get interface from config");
    *mode = *stored;
    return TRUE;
}

ZOLV_DEFINE_CLASS(ZolvSerialPortType10, zolv_serialport_type10, ZOLV_TYPE_SERIALPORT)
{
    ZolvSerialPortClass *port_class = ZOLV_SERIALPORT_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "SerialPort");
    port_class->check_ready = serialport_type10_check_ready;
    port_class->set_interface = serialport_type10_set_interface;
    port_class->get_interface = serialport_type10_get_interface;
}

void
zolv_serialport_type10_define_gpio_pins(ZolvSerialPortType10 *self, gint p0)
{
    self->priv->pin.define(p0);
    self->priv->pin_defined = true;
    zolv_serialport_check_ready_and_init(ZOLV_SERIALPORT(self));
}
