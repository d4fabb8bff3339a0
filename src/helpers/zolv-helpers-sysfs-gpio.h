#pragma once

#include "zolv-error.h"

G_BEGIN_DECLS

/*
 * GPIO lines by the kernel's Documentation/ABI/obsolete/sysfs-gpio and
 * Documentation/admin-guide/gpio/sysfs.rst. @gpio is the line's number there. A line that is not
 * exported yet is exported first and stays so.
 *
 * Values are logical: a line that is active low shows 1 when its level is low. A value other than
 * 0 or 1, passed or read, aborts the daemon.
 *
 * Errors are those of zolv_helper_read_file() and zolv_helper_write_file(); an output argument is
 * untouched then. Any thread may call these functions.
 */

/** ZolvGpioDirection: the directions of a line, as numbers on all interfaces. */
typedef enum {
    GPIO_DIRECTION_IN = 0,
    GPIO_DIRECTION_OUT = 1,
} ZolvGpioDirection;

/**
 * zolv_helper_set_sysfs_gpio_value:
 * @gpio: line number
 * @value: 0 or 1
 *
 * Drives an output. An input becomes an output that shows @value from the start.
 *
 * Returns: whether the line was driven
 */
ZOLV_API gboolean zolv_helper_set_sysfs_gpio_value(gint gpio, guint value, GError **error);

/**
 * zolv_helper_get_sysfs_gpio_value:
 * @gpio: line number
 * @value: (out): 0 or 1
 *
 * Returns: whether the line was read
 */
ZOLV_API gboolean zolv_helper_get_sysfs_gpio_value(gint gpio, guint *value, GError **error);

/**
 * zolv_helper_set_sysfs_gpio_direction:
 * @gpio: line number
 * @direction: a #ZolvGpioDirection; any other aborts
 *
 * A line that becomes an output keeps the level that it showed as an input: there is no glitch.
 *
 * Returns: whether the direction was set
 */
ZOLV_API gboolean zolv_helper_set_sysfs_gpio_direction(gint gpio, guint direction, GError **error);

/**
 * zolv_helper_get_sysfs_gpio_direction:
 * @gpio: line number
 * @direction: (out): a #ZolvGpioDirection
 *
 * Returns: whether the direction was read
 */
ZOLV_API gboolean zolv_helper_get_sysfs_gpio_direction(gint gpio, guint *direction, GError **error);

/**
 * zolv_helper_set_sysfs_gpio_active_low:
 * @gpio: line number
 * @active_low: 1 inverts the line; every other value makes it active high
 *
 * Returns: whether the attribute was written
 */
ZOLV_API gboolean zolv_helper_set_sysfs_gpio_active_low(gint gpio, guint active_low,
                                                        GError **error);

/**
 * zolv_helper_get_sysfs_gpio_active_low:
 * @gpio: line number
 * @active_low: (out): 0 or 1
 *
 * Returns: whether the attribute was read
 */
ZOLV_API gboolean zolv_helper_get_sysfs_gpio_active_low(gint gpio, guint *active_low,
                                                        GError **error);

G_END_DECLS
