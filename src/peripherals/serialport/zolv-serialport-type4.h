#pragma once

#include "peripherals/serialport/zolv-serialport.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SERIALPORT_TYPE4 (zolv_serialport_type4_get_type())
ZOLV_DECLARE_CLASS(ZolvSerialPortType4, zolv_serialport_type4, SERIALPORT_TYPE4, ZolvSerialPort)

/**
 * ZolvSerialPortType4Class:
 *
 * A port whose transceivers are switched by a register file, which enables that for RS-485, and
 * three lines, the register first.
 *
 * | mode | register, P0 P1 P2 |
 * |---|---|
 * | RS-232 | 0, 1 0 0 |
 * | RS-485 with two wires | 1, 0 1 0 |
 * | RS-422 | 1, 0 0 1 |
 *
 * Errors of a switch: %ZOLV_CORE_ERROR_DEVICE_IO for RS-485 with four wires,
 * %ZOLV_CORE_ERROR_INVAL_ARG for any other mode, %ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE for a
 * register or lines in no known state; those of the file and of the lines.
 */
struct _ZolvSerialPortType4Class {
    ZolvSerialPortClass parent_class;
};

/**
 * zolv_serialport_type4_define_rs485_en_reg_path:
 * @path: the register's file, which holds "0" or "1"; copied
 *
 * Comes before the lines, which make the port ready.
 */
ZOLV_API void zolv_serialport_type4_define_rs485_en_reg_path(ZolvSerialPortType4 *self,
                                                             const char *path);

/**
 * zolv_serialport_type4_define_gpio_pins:
 * @p0: number of the first GPIO line
 * @p1: number of the second
 * @p2: number of the third
 *
 * Does zolv_serialport_check_ready_and_init(): the port is ready when its device is defined, too.
 */
ZOLV_API void zolv_serialport_type4_define_gpio_pins(ZolvSerialPortType4 *self, gint p0, gint p1,
                                                     gint p2);

G_END_DECLS
