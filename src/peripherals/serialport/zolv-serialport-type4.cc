#include "peripherals/serialport/zolv-serialport-type4.h"

#include "core/zolv-class.h"
#include "peripherals/serialport/zolv-mode-tables.h"
#include "peripherals/serialport/zolv-serialport-internal.h"

struct _ZolvSerialPortType4Private {
    zolv::ModePins pins{zolv::type4_modes};
};

static const zolv::ModePins &
pins_of(ZolvSerialPort *port)
{
    return ZOLV_SERIALPORT_TYPE4(port)->priv->pins;
}

static gboolean
serialport_type4_check_ready(ZolvSerialPort *port)
{
    return zolv::has_device(port) && pins_of(port).defined();
}

static gboolean
serialport_type4_set_interface(ZolvSerialPort *port, guint mode, GError **error)
{
    const zolv::PinMode *row = pins_of(port).row_of_mode(mode, error);

    return row != nullptr && pins_of(port).drive(*row, error);
}

static gboolean
serialport_type4_get_interface(ZolvSerialPort *port, guint *mode, GError **error)
{
    return pins_of(port).read_mode(mode, error);
}

ZOLV_DEFINE_CLASS(ZolvSerialPortType4, zolv_serialport_type4, ZOLV_TYPE_SERIALPORT)
{
    ZolvSerialPortClass *port_class = ZOLV_SERIALPORT_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "SerialPort");
    port_class->check_ready = serialport_type4_check_ready;
    port_class->set_interface = serialport_type4_set_interface;
    port_class->get_interface = serialport_type4_get_interface;
}

void
zolv_serialport_type4_define_rs485_en_reg_path(ZolvSerialPortType4 *self, const char *path)
{
    self->priv->pins.define_register(path);
}

void
zolv_serialport_type4_define_gpio_pins(ZolvSerialPortType4 *self, gint p0, gint p1, gint p2)
{
    self->priv->pins.define({zolv::GpioLine(p0), zolv::GpioLine(p1), zolv::GpioLine(p2)});
    zolv_serialport_check_ready_and_init(ZOLV_SERIALPORT(self));
}
