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
 *
 * The platform must give the channel a period, by its boot loader or driver: the kernel refuses a
 * duty cycle while the period is 0, and the duty cycle is cleared before the period is set. On a
 * channel without one the buzzer stays silent.
 */
struct _ZolvBuzzerPWMClass {
    ZolvBuzzerClass parent_class;
};

/** zolv_buzzer_pwm_define: silences the buzzer and exports the object; the last call of a PWM
 * buzzer's definition. */
ZOLV_API void zolv_buzzer_pwm_define(ZolvBuzzerPWM *self);

G_END_DECLS
