#pragma once

#include "peripherals/serialport/zolv-serialport.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SERIALPORT_TYPE8 (zolv_serialport_type8_get_type())
ZOLV_DECLARE_CLASS(ZolvSerialPortType8, zolv_serialport_type8, SERIALPORT_TYPE8, ZolvSerialPort)

/**
 * ZolvSerialPortType8Class:
 *
 * A port of the multiport card, "/dev/ttyV0" or "/dev/ttyV1". The two share a connector: RS-485
 * with two wires is set for both of them, whichever was asked, and while the first port is in
 * another mode the second reports %SERIALPORT_NO_INTERFACE. Ready when the device is defined.
 *
 * Errors of a switch: %ZOLV_CORE_ERROR_DEVICE_IO for the devices.
 */
struct _ZolvSerialPortType8Class {
    ZolvSerialPortClass parent_class;
};

G_END_DECLS
