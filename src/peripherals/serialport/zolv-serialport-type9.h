#pragma once

#include "peripherals/serialport/zolv-serialport.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SERIALPORT_TYPE9 (zolv_serialport_type9_get_type())
ZOLV_DECLARE_CLASS(ZolvSerialPortType9, zolv_serialport_type9, SERIALPORT_TYPE9, ZolvSerialPort)

/**
 * ZolvSerialPortType9Class:
 *
 * A port whose driver switches the transceiver by its field `port`: the mode in the low four bits
 * and, in the RS-485 modes, the resistors (0x10) and the bus terminator (0x20). Ready when the
 * device is defined.
 *
 * The switches can be switched in the RS-485 modes alone; the published state is the wanted one,
 * and stays where the driver then fails.
 *
 * Errors of a switch: %ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT in the other modes,
 * %ZOLV_CORE_ERROR_DEVICE_IO for the device.
 */
struct _ZolvSerialPortType9Class {
    ZolvSerialPortClass parent_class;
};

/**
 * zolv_serialport_type9_define_pull_up_down:
 *
 * Publishes the stored state of the resistors, off at the first use, and that software can switch
 * them. The hardware gets it with the next mode: call this before the device is defined.
 */
ZOLV_API void zolv_serialport_type9_define_pull_up_down(ZolvSerialPortType9 *self);
/** zolv_serialport_type9_define_terminator: the same for the bus terminator. */
ZOLV_API void zolv_serialport_type9_define_terminator(ZolvSerialPortType9 *self);

G_END_DECLS
