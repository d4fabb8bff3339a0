#pragma once

#include "zolv-obj.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_LED (zolv_led_get_type())
ZOLV_DECLARE_CLASS(ZolvLED, zolv_led, LED, ZolvObj)

/**
 * ZolvLEDClass:
 * @set_state: drives the LED; @state is 0, 1 or 2
 * @get_state: reads the state back from the hardware
 *
 * A status LED that the kernel shows in its LED class (Documentation/leds/leds-class.rst), driven
 * by its trigger and brightness. Only LEDs of a single brightness are supported.
 */
struct _ZolvLEDClass {
    ZolvObjClass parent_class;
    gboolean (*set_state)(ZolvLED *self, guint state, GError **error);
    gboolean (*get_state)(ZolvLED *self, guint *state, GError **error);
};

/**
 * zolv_led_define_label:
 * @label: name of the folder below /sys/class/leds; copied
 *
 * Sets the bus property Label and exports the object; the last call of an LED's definition.
 */
ZOLV_API void zolv_led_define_label(ZolvLED *self, const char *label);

/**
 * zolv_led_define_alias:
 * @alias: a name for people, such as "Ready"; copied
 *
 * Sets the bus property Alias, which is "N/A" before.
 */
ZOLV_API void zolv_led_define_alias(ZolvLED *self, const char *alias);

/** zolv_led_get_label: Returns: (transfer none) (nullable): the label, NULL before its definition
 */
ZOLV_API const char *zolv_led_get_label(ZolvLED *self);

/**
 * zolv_led_set_state:
 * @state: 0 off, 1 on, 2 heartbeat
 *
 * The state is not kept over a restart of the daemon.
 *
 * Errors: %ZOLV_CORE_ERROR_INVAL_ARG above 2; %ZOLV_CORE_ERROR_PERIPH_NOT_READY before the
 * definition; %ZOLV_CORE_ERROR_SYSTEM when the system has no thread left for a heartbeat; that of
 * the failed write.
 *
 * Returns: whether the LED was driven
 */
ZOLV_API gboolean zolv_led_set_state(ZolvLED *self, guint state, GError **error);

/**
 * zolv_led_get_state:
 * @state: (out): 0 off, 1 on, 2 heartbeat; untouched on failure
 *
 * Errors: %ZOLV_CORE_ERROR_PERIPH_NOT_READY before the definition;
 * %ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE when another kernel trigger drives the LED; that of the
 * failed read.
 *
 * Returns: whether the state was read
 */
ZOLV_API gboolean zolv_led_get_state(ZolvLED *self, guint *state, GError **error);

G_END_DECLS
