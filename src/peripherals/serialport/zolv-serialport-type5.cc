#include "peripherals/serialport/zolv-serialport-type5.h"

#include "core/zolv-class.h"
#include "peripherals/serialport/zolv-mode-tables.h"
#include "peripherals/serialport/zolv-serial-ioctl.h"
#include "peripherals/serialport/zolv-serialport-internal.h"

struct _ZolvSerialPortType5Private {
    zolv::ModePins pins{zolv::type5_modes};
};

static const zolv::ModePins &
pins_of(ZolvSerialPort *port)
{
    return ZOLV_SERIALPORT_TYPE5(port)->priv->pins;
}

static gboolean
serialport_type5_check_ready(ZolvSerialPort *port)
{
    return zolv::has_device(port) && pins_of(port).defined();
}

/* All lines are 0 in between, so that no two transceivers drive the connector at once. */
static gboolean
serialport_type5_set_interface(ZolvSerialPort *port, guint mode, GError **error)
{
    const zolv::PinMode *row = pins_of(port).row_of_mode(mode, error);

    return row != nullptr && pins_of(port).clear(error) && pins_of(port).drive(*row, error) &&
           zolv::set_kernel_rs485(zolv_serialport_get_device(port), row->kernel_rs485, error);
}

static gboolean
serialport_type5_get_interface(ZolvSerialPort *port, guint *mode, GError **error)
{
    return pins_of(port).read_mode(mode, error);
}

ZOLV_DEFINE_CLASS(ZolvSerialPortType5, zolv_serialport_type5, ZOLV_TYPE_SERIALPORT)
{
    ZolvSerialPortClass *port_class = ZOLV_SERIALPORT_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "SerialPort");
    port_class->check_ready = serialport_type5_check_ready;
    port_class->set_interface = serialport_type5_set_interface;
    port_class->get_interface = serialport_type5_get_interface;
}

void
zolv_serialport_type5_define_gpio_pins(ZolvSerialPortType5 *self, gint p0, gint p1, gint p2)
{
    self->priv->pins.define({zolv::GpioLine(p0), zolv::GpioLine(p1), zolv::GpioLine(p2)});
    zolv_serialport_check_ready_and_init(ZOLV_SERIALPORT(self));
}
