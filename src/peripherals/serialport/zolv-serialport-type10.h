#pragma once

#include "peripherals/serialport/zolv-serialport.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SERIALPORT_TYPE10 (zolv_serialport_type10_get_type())
ZOLV_DECLARE_CLASS(ZolvSerialPortType10, zolv_serialport_type10, SERIALPORT_TYPE10, ZolvSerialPort)

/**
 * ZolvSerialPortType10Class:
 *
 * A port with RS-232 and RS-485 with two wires, switched by one line, 1 for RS-232, and by the
 * kernel driving the direction of RS-485 after it. The hardware cannot be read back: the mode is
 * the stored one, which each switch stores.
 *
 * Errors of a switch: %ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE for another mode,
 * %ZOLV_CORE_ERROR_DEVICE_IO for the line and the device, %ZOLV_CORE_ERROR_SYSTEM for a mode that
 * is not stored.
 */
struct _ZolvSerialPortType10Class {
    ZolvSerialPortClass parent_class;
};

/**
 * zolv_serialport_type10_define_gpio_pins:
 * @p0: number of the GPIO line, or 0 for a port without
 *
 * Does zolv_serialport_check_ready_and_init(): the port is ready when its device is defined, too.
 */
ZOLV_API void zolv_serialport_type10_define_gpio_pins(ZolvSerialPortType10 *self, gint p0);

G_END_DECLS
