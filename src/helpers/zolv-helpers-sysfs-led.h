#pragma once

#include "zolv-error.h"

G_BEGIN_DECLS

/*
 * LED-class devices by the kernel's Documentation/ABI/testing/sysfs-class-led and
 * Documentation/leds/leds-class.rst. @name is the folder below /sys/class/leds.
 *
 * Errors are those of zolv_helper_read_file() and zolv_helper_write_file(); an output argument is
 * untouched then. Any thread may call these functions.
 */

/**
 * zolv_helper_set_sysfs_led_trigger:
 * @name: LED name
 * @trigger: trigger name, written as it is; "none" gives the brightness back to the user
 *
 * Returns: whether the trigger was accepted
 */
ZOLV_API gboolean zolv_helper_set_sysfs_led_trigger(const gchar *name, const gchar *trigger,
                                                    GError **error);

/**
 * zolv_helper_get_sysfs_led_trigger:
 * @name: LED name
 * @trigger: (out) (transfer full) (nullable): the name that the kernel puts into brackets, %NULL
 *   when there is none in the first 255 bytes of the list; free with g_free()
 *
 * Returns: whether the list was read
 */
ZOLV_API gboolean zolv_helper_get_sysfs_led_trigger(const gchar *name, gchar **trigger,
                                                    GError **error);

/**
 * zolv_helper_set_sysfs_led_brightness:
 * @name: LED name
 * @brightness: 0 off, 1 on; any other aborts
 *
 * Returns: whether the brightness was written
 */
ZOLV_API gboolean zolv_helper_set_sysfs_led_brightness(const gchar *name, guint brightness,
                                                       GError **error);

/**
 * zolv_helper_get_sysfs_led_brightness:
 * @name: LED name
 * @brightness: (out): 0 or 1. One byte is read; another digit than these aborts, since only LEDs
 *   with one brightness are supported.
 *
 * Returns: whether the brightness was read
 */
ZOLV_API gboolean zolv_helper_get_sysfs_led_brightness(const gchar *name, guint *brightness,
                                                       GError **error);

G_END_DECLS
