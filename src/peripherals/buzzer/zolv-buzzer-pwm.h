#pragma once

#include "peripherals/buzzer/zolv-buzzer.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_BUZZER_PWM (zolv_buzzer_pwm_get_type())
ZOLV_DECLARE_CLASS(ZolvBuzzerPWM, zolv_buzzer_pwm, BUZZER_PWM, ZolvBuzzer)

/**
 * ZolvBuzzerPWMClass:
 *
 * A buzzer on channel 0 of pwmchip0, at a duty cycle of one half. The environment variable
 * BUZZER_FREQUENCY is its frequency in Hz, 440 where that is not set or no number. Writes to the
 * channel that fail are not reported: the state counts as set.
 */
struct _ZolvBuzzerPWMClass {
    ZolvBuzzerClass parent_class;
};

/** zolv_buzzer_pwm_define: silences the buzzer and exports the object; the last call of a PWM
 * buzzer's definition. */
ZOLV_API void zolv_buzzer_pwm_define(ZolvBuzzerPWM *self);

G_END_DECLS
