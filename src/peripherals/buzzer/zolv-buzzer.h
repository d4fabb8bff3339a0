#pragma once

#include "zolv-obj.h"

G_BEGIN_DECLS

/** ZolvBuzzerDeviceType: how a buzzer is driven, as the bus property DeviceType shows it. */
typedef enum {
    ZOLV_BUZZER_DEVICE_TYPE_NONE = 0,
    ZOLV_BUZZER_DEVICE_TYPE_GPIO = 1,
    ZOLV_BUZZER_DEVICE_TYPE_PCSPKR = 2,
    ZOLV_BUZZER_DEVICE_TYPE_PWM = 3,
} ZolvBuzzerDeviceType;

#define ZOLV_TYPE_BUZZER (zolv_buzzer_get_type())
ZOLV_DECLARE_CLASS(ZolvBuzzer, zolv_buzzer, BUZZER, ZolvObj)

/**
 * ZolvBuzzerClass:
 * @set_state: drives the buzzer; refuses a state above 1
 * @get_state: tells the state
 * @export_obj: publishes the object on the bus
 * @unexport_obj: withdraws it
 * @set_device_type: sets the bus property DeviceType
 * @set_gpio_pin: sets the bus property GPIOPin
 *
 * The base of the buzzers. The first two have no default: the base itself cannot sound.
 */
struct _ZolvBuzzerClass {
    ZolvObjClass parent_class;
    gboolean (*set_state)(ZolvBuzzer *self, guint state, GError **error);
    gboolean (*get_state)(ZolvBuzzer *self, guint *state, GError **error);
    void (*export_obj)(ZolvBuzzer *self);
    void (*unexport_obj)(ZolvBuzzer *self);
    void (*set_device_type)(ZolvBuzzer *self, guint type);
    void (*set_gpio_pin)(ZolvBuzzer *self, int pin);
};

/**
 * zolv_buzzer_define_gpio:
 * @pin: sysfs number of the line, -1 for none
 *
 * Sets the bus property GPIOPin and nothing else.
 */
ZOLV_API void zolv_buzzer_define_gpio(ZolvBuzzer *self, int pin);

/**
 * zolv_buzzer_set_state:
 * @state: 0 silent, 1 sounding
 *
 * The state is not kept over a restart of the daemon.
 *
 * Errors: %ZOLV_CORE_ERROR_INVAL_ARG above 1; those of the class. A PWM buzzer succeeds even when
 * its channel cannot be written, and then may leave the error of the write in @error.
 *
 * Returns: whether the state was taken
 */
ZOLV_API gboolean zolv_buzzer_set_state(ZolvBuzzer *self, guint state, GError **error);

/**
 * zolv_buzzer_get_state:
 * @state: (out): 0 silent, 1 sounding; untouched on failure
 *
 * Only a GPIO buzzer reads its hardware and can fail; the others answer what was set last.
 *
 * Returns: whether the state is known
 */
ZOLV_API gboolean zolv_buzzer_get_state(ZolvBuzzer *self, guint *state, GError **error);

G_END_DECLS
