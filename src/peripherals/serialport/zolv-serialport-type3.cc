#include "peripherals/serialport/zolv-serialport-type3.h"

#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "peripherals/serialport/zolv-mode-tables.h"
#include "peripherals/serialport/zolv-serialport-internal.h"

struct _ZolvSerialPortType3Private {
    zolv::ModePins pins{zolv::type3_modes};
};

static const zolv::ModePins &
pins_of(ZolvSerialPort *port)
{
    return ZOLV_SERIALPORT_TYPE3(port)->priv->pins;
}

static gboolean
serialport_type3_check_ready(ZolvSerialPort *port)
{
    return zolv::has_device(port) && pins_of(port).defined();
}

static gboolean
serialport_type3_set_interface(ZolvSerialPort *port, guint mode, GError **error)
{
    const zolv::PinMode *row = pins_of(port).row_of_mode(mode, error);

    return row != nullptr && pins_of(port).drive(*row, error) &&
           zolv::set_mode_by_port_field(port, mode, error);
}

static gboolean
serialport_type3_get_interface(ZolvSerialPort *port, guint *mode, GError **error)
{
    const zolv::PinMode *row = pins_of(port).read(error);
    guint in_driver = 0;

    if (row == nullptr || !zolv::get_mode_by_port_field(port, &in_driver, error))
        return FALSE;
    if (in_driver != row->mode)
        return zolv::failf(error, ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE,
                           "interface get by gpio (%d) and ioctl (%d) are not the same",
                           static_cast<int>(row->mode), static_cast<int>(in_driver));
    *mode = row->mode;
    return TRUE;
}

ZOLV_DEFINE_CLASS(ZolvSerialPortType3, zolv_serialport_type3, ZOLV_TYPE_SERIALPORT)
{
    ZolvSerialPortClass *port_class = ZOLV_SERIALPORT_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "SerialPort");
    port_class->check_ready = serialport_type3_check_ready;
    port_class->set_interface = serialport_type3_set_interface;
    port_class->get_interface = serialport_type3_get_interface;
}

void
zolv_serialport_type3_define_gpio_pins(ZolvSerialPortType3 *self, gint p0, gint p1, gint p2,
                                       gint p3)
{
    self->priv->pins.define(
        {zolv::GpioLine(p0), zolv::GpioLine(p1), zolv::GpioLine(p2), zolv::GpioLine(p3)});
    zolv_serialport_check_ready_and_init(ZOLV_SERIALPORT(self));
}
