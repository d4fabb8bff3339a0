#pragma once

#include "peripherals/serialport/zolv-serialport.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SERIALPORT_TYPE3 (zolv_serialport_type3_get_type())
ZOLV_DECLARE_CLASS(ZolvSerialPortType3, zolv_serialport_type3, SERIALPORT_TYPE3, ZolvSerialPort)

/**
 * ZolvSerialPortType3Class:
 *
 * A port whose transceiver is switched by four lines, P0 first, and whose driver is told the mode
 * in its field `port` after them. Read back, both must say the same.
 *
 * | mode | P0 P1 P2 P3 |
 * |---|---|
 * | RS-232 | 0 1 1 1 |
 * | RS-485 with two wires | 1 0 0 1 |
 * | RS-422 | 1 0 1 0 |
 *
 * Errors of a switch: %ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT for RS-485 with four wires,
 * %ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE for any other mode, for lines in no known state and for a
 * driver that disagrees with them; those of the lines; %ZOLV_CORE_ERROR_DEVICE_IO for the device.
 */
struct _ZolvSerialPortType3Class {
    ZolvSerialPortClass parent_class;
};

/**
 * zolv_serialport_type3_define_gpio_pins:
 * @p0: number of the first GPIO line
 * @p1: number of the second
 * @p2: number of the third
 * @p3: number of the fourth
 *
 * Does zolv_serialport_check_ready_and_init(): the port is ready when its device is defined, too.
 */
ZOLV_API void zolv_serialport_type3_define_gpio_pins(ZolvSerialPortType3 *self, gint p0, gint p1,
                                                     gint p2, gint p3);

G_END_DECLS
