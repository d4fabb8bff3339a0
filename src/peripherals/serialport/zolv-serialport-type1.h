#pragma once

#include "peripherals/serialport/zolv-serialport.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SERIALPORT_TYPE1 (zolv_serialport_type1_get_type())
ZOLV_DECLARE_CLASS(ZolvSerialPortType1, zolv_serialport_type1, SERIALPORT_TYPE1, ZolvSerialPort)

/**
 * ZolvSerialPortType1Class:
 *
 * A port whose driver switches the transceiver by the mode in its field `port`. Ready when the
 * device is defined.
 *
 * Errors of a switch: %ZOLV_CORE_ERROR_DEVICE_IO for the device.
 */
struct _ZolvSerialPortType1Class {
    ZolvSerialPortClass parent_class;
};

G_END_DECLS
