#pragma once

#include "peripherals/serialport/zolv-serialport.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SERIALPORT_TYPE2 (zolv_serialport_type2_get_type())
ZOLV_DECLARE_CLASS(ZolvSerialPortType2, zolv_serialport_type2, SERIALPORT_TYPE2, ZolvSerialPort)

/**
 * ZolvSerialPortType2Class:
 *
 * A port whose transceiver is switched by four lines, P0 first; the first that fails ends it.
 *
 * | mode | P0 P1 P2 P3 |
 * |---|---|
 * | RS-232 | 1 1 0 0 |
 * | RS-485 with two wires | 0 0 0 1 |
 * | RS-422 | 0 0 1 0 |
 *
 * Errors of a switch: %ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT for RS-485 with four wires,
 * %ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE for any other mode and for lines in no known state; those
 * of the lines.
 */
struct _ZolvSerialPortType2Class {
    ZolvSerialPortClass parent_class;
};

/**
 * zolv_serialport_type2_define_gpio_pins:
 * @p0: number of the first GPIO line
 * @p1: number of the second
 * @p2: number of the third
 * @p3: number of the fourth
 *
 * Does zolv_serialport_check_ready_and_init(): the port is ready when its device is defined, too.
 */
ZOLV_API void zolv_serialport_type2_define_gpio_pins(ZolvSerialPortType2 *self, gint p0, gint p1,
                                                     gint p2, gint p3);

G_END_DECLS
