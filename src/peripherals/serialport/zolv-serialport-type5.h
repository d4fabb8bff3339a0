#pragma once

#include "peripherals/serialport/zolv-serialport.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SERIALPORT_TYPE5 (zolv_serialport_type5_get_type())
ZOLV_DECLARE_CLASS(ZolvSerialPortType5, zolv_serialport_type5, SERIALPORT_TYPE5, ZolvSerialPort)

/**
 * ZolvSerialPortType5Class:
 *
 * A port whose transceiver is switched by three lines, all of which are 0 in between, and for which
 * the kernel drives the direction of RS-485 after them. The mode is read back from the lines alone.
 *
 * | mode | P0 P1 P2 | kernel's RS-485 |
 * |---|---|---|
 * | RS-232 | 1 0 0 | off |
 * | RS-485 with two wires | 0 0 1 | on |
 * | RS-422 | 0 1 0 | off |
 *
 * Errors of a switch: %ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT for RS-485 with four wires,
 * %ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE for any other mode and for lines in no known state; those
 * of the lines; %ZOLV_CORE_ERROR_DEVICE_IO for the device.
 */
struct _ZolvSerialPortType5Class {
    ZolvSerialPortClass parent_class;
};

/**
 * zolv_serialport_type5_define_gpio_pins:
 * @p0: number of the first GPIO line
 * @p1: number of the second
 * @p2: number of the third
 *
 * Does zolv_serialport_check_ready_and_init(): the port is ready when its device is defined, too.
 */
ZOLV_API void zolv_serialport_type5_define_gpio_pins(ZolvSerialPortType5 *self, gint p0, gint p1,
                                                     gint p2);

G_END_DECLS
