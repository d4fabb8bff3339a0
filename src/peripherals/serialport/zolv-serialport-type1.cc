#include "peripherals/serialport/zolv-serialport-type1.h"

#include "core/zolv-class.h"
#include "peripherals/serialport/zolv-serialport-internal.h"

struct _ZolvSerialPortType1Private {};

ZOLV_DEFINE_CLASS(ZolvSerialPortType1, zolv_serialport_type1, ZOLV_TYPE_SERIALPORT)
{
    ZolvSerialPortClass *port_class = ZOLV_SERIALPORT_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "SerialPort");
    port_class->check_ready = zolv::has_device;
    port_class->set_interface = zolv::set_mode_by_port_field;
    port_class->get_interface = zolv::get_mode_by_port_field;
}
