#pragma once

#include "peripherals/buzzer/zolv-buzzer.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_BUZZER_GPIO (zolv_buzzer_gpio_get_type())
ZOLV_DECLARE_CLASS(ZolvBuzzerGPIO, zolv_buzzer_gpio, BUZZER_GPIO, ZolvBuzzer)

/**
 * ZolvBuzzerGPIOClass:
 *
 * A buzzer that a GPIO line switches; silent from the object's end on.
 */
struct _ZolvBuzzerGPIOClass {
    ZolvBuzzerClass parent_class;
};

/**
 * zolv_buzzer_gpio_define_gpio:
 * @pin: sysfs number of the line, 0 or more
 * @direction: a #ZolvGpioDirection. A buzzer on an input can only be asked for its state: setting
 *   it is refused with %ZOLV_CORE_ERROR_NOT_PERMIT
 *
 * Prepares the line and exports the object; the last call of a GPIO buzzer's definition. Where the
 * line has no direction to set, the object stays off the bus.
 */
ZOLV_API void zolv_buzzer_gpio_define_gpio(ZolvBuzzerGPIO *self, int pin, guint direction);

G_END_DECLS
