#pragma once

#include "peripherals/led/zolv-led.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_LED_GPIO (zolv_led_gpio_get_type())
ZOLV_DECLARE_CLASS(ZolvLEDGPIO, zolv_led_gpio, LED_GPIO, ZolvLED)

/**
 * ZolvLEDGPIOClass:
 *
 * A status LED on a plain GPIO line. A thread of its own makes the heartbeat; the LED goes dark
 * with the object.
 */
struct _ZolvLEDGPIOClass {
    ZolvLEDClass parent_class;
};

/**
 * zolv_led_gpio_define_gpio:
 * @pin: sysfs number of the line, 0 or more
 * @active_low: whether the LED is lit by the low level
 *
 * Prepares the line as an output, keeping the level that it shows, and exports the object; the last
 * call of a GPIO LED's definition. What fails is logged and does not stop the definition.
 */
ZOLV_API void zolv_led_gpio_define_gpio(ZolvLEDGPIO *self, int pin, gboolean active_low);

G_END_DECLS
