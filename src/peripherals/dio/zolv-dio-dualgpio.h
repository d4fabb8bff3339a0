#pragma once

#include "peripherals/dio/zolv-dio.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_DIO_DUALGPIO (zolv_dio_dualgpio_get_type())
ZOLV_DECLARE_CLASS(ZolvDIODualGPIO, zolv_dio_dualgpio, DIO_DUALGPIO, ZolvDIO)

/**
 * ZolvDIODualGPIOClass:
 *
 * A channel of two GPIO lines, one read as input and one driven as output, whose direction can be
 * switched: it is the choice of the line that is used. The output is released, which is its value
 * 1, while the channel is an input.
 */
struct _ZolvDIODualGPIOClass {
    ZolvDIOClass parent_class;
};

/**
 * zolv_dio_dualgpio_define_gpio:
 * @pin_input: sysfs number of the input line, 0 or more
 * @pin_output: sysfs number of the output line, 0 or more
 * @direction: a #ZolvGpioDirection, for a channel of which the settings hold none
 *
 * Prepares both lines and exports the object. What fails is logged and does not stop the
 * definition.
 */
ZOLV_API void zolv_dio_dualgpio_define_gpio(ZolvDIODualGPIO *self, int pin_input, int pin_output,
                                            guint direction);

/** zolv_dio_dualgpio_define_hook: does what zolv_dio_define_hook() does for one line. */
ZOLV_API void zolv_dio_dualgpio_define_hook(ZolvDIODualGPIO *self);

G_END_DECLS
