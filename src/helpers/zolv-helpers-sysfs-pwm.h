#pragma once

#include "zolv-error.h"

G_BEGIN_DECLS

/*
 * PWM channels by the kernel's Documentation/ABI/testing/sysfs-class-pwm and
 * Documentation/driver-api/pwm.rst. @chip and @channel are the numbers in "pwmchip%u/pwm%u". A
 * channel that is not exported yet is exported first and stays so.
 *
 * Errors are those of zolv_helper_read_file() and zolv_helper_write_file(); an output argument is
 * untouched then. Any thread may call these functions.
 */

/**
 * zolv_helper_set_sysfs_pwm_value:
 * @chip: chip number
 * @channel: channel number
 * @period_ns: period in nanoseconds
 * @duty_cycle_ns: active time within the period in nanoseconds
 *
 * The duty cycle is cleared before the period is set: the kernel refuses a period that is shorter
 * than the duty cycle. It also refuses any duty cycle while the period is 0, so a channel that
 * never had a period gets none here: the platform has to give it the first. The first write that
 * fails ends the operation, and the writes before it have taken effect.
 *
 * Returns: whether all was written
 */
ZOLV_API gboolean zolv_helper_set_sysfs_pwm_value(guint chip, guint channel, guint period_ns,
                                                  guint duty_cycle_ns, GError **error);

/**
 * zolv_helper_get_sysfs_pwm_value:
 * @chip: chip number
 * @channel: channel number
 * @period_ns: (out): period in nanoseconds
 * @duty_cycle_ns: (out): active time within the period in nanoseconds
 *
 * A number above %G_MAXUINT reads as %G_MAXUINT, what is no number as 0.
 *
 * Returns: whether both were read
 */
ZOLV_API gboolean zolv_helper_get_sysfs_pwm_value(guint chip, guint channel, guint *period_ns,
                                                  guint *duty_cycle_ns, GError **error);

/**
 * zolv_helper_set_sysfs_pwm_polarity:
 * @chip: chip number
 * @channel: channel number
 * @polarity: 0 "normal", 1 "inversed"; any other aborts. The kernel refuses a change while the
 *   channel is enabled.
 *
 * Returns: whether the polarity was written
 */
ZOLV_API gboolean zolv_helper_set_sysfs_pwm_polarity(guint chip, guint channel, guint polarity,
                                                     GError **error);

/**
 * zolv_helper_get_sysfs_pwm_polarity:
 * @chip: chip number
 * @channel: channel number
 * @polarity: (out): 0 "normal", 1 "inversed"; another word in the attribute aborts
 *
 * Returns: whether the polarity was read
 */
ZOLV_API gboolean zolv_helper_get_sysfs_pwm_polarity(guint chip, guint channel, guint *polarity,
                                                     GError **error);

/**
 * zolv_helper_set_sysfs_pwm_state:
 * @chip: chip number
 * @channel: channel number
 * @state: 0 disabled, 1 enabled; any other aborts
 *
 * Returns: whether the state was written
 */
ZOLV_API gboolean zolv_helper_set_sysfs_pwm_state(guint chip, guint channel, guint state,
                                                  GError **error);

/**
 * zolv_helper_get_sysfs_pwm_state:
 * @chip: chip number
 * @channel: channel number
 * @state: (out): 0 disabled, 1 enabled; another digit in the attribute aborts
 *
 * Returns: whether the state was read
 */
ZOLV_API gboolean zolv_helper_get_sysfs_pwm_state(guint chip, guint channel, guint *state,
                                                  GError **error);

G_END_DECLS
