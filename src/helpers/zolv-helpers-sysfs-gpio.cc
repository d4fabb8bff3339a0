#include "helpers/zolv-helpers-sysfs-gpio.h"

#include "core/zolv-assert.h"
#include "helpers/zolv-helpers-sysfs.h"

namespace {

zolv::SysfsPath
attribute_of(gint gpio, const char *attribute)
{
    return zolv::SysfsPath("/sys/class/gpio/gpio%d/%s", gpio, attribute);
}

bool
export_line(gint gpio, GError **error)
{
    char number[sizeof "-2147483648"];

    g_snprintf(number, sizeof number, "%d", gpio);
    return zolv::sysfs_export(attribute_of(gpio, "value"), "/sys/class/gpio/export", number, error);
}

bool
read_direction(gint gpio, guint *direction, GError **error)
{
    char word[sizeof "out"];

    if (!zolv::sysfs_read_text(attribute_of(gpio, "direction"), word, sizeof word, error))
        return false;
    if (g_ascii_strncasecmp(word, "in", 2) == 0)
        *direction = GPIO_DIRECTION_IN;
    else if (g_ascii_strncasecmp(word, "out", 3) == 0)
        *direction = GPIO_DIRECTION_OUT;
    else
        ZOLV_ASSERT_NOT_REACHED();
    return true;
}

/* "high" and "low" are raw levels; they set direction and level in one step. */
bool
turn_into_output(gint gpio, guint value, GError **error)
{
    guint active_low = 0;

    if (!zolv::sysfs_read_flag(attribute_of(gpio, "active_low"), &active_low, error))
        return false;
    return zolv::sysfs_write_text(attribute_of(gpio, "direction"),
                                  (value ^ active_low) == 1 ? "high" : "low", error);
}

} // namespace

gboolean
zolv_helper_set_sysfs_gpio_value(gint gpio, guint value, GError **error)
{
    guint direction = GPIO_DIRECTION_IN;

    if (value > 1)
        ZOLV_ASSERT_NOT_REACHED();
    if (!export_line(gpio, error) || !read_direction(gpio, &direction, error))
        return FALSE;
    if (direction == GPIO_DIRECTION_OUT)
        return zolv::sysfs_write_flag(attribute_of(gpio, "value"), value, error);
    return turn_into_output(gpio, value, error);
}

gboolean
zolv_helper_get_sysfs_gpio_value(gint gpio, guint *value, GError **error)
{
    return export_line(gpio, error) &&
           zolv::sysfs_read_flag(attribute_of(gpio, "value"), value, error);
}

gboolean
zolv_helper_set_sysfs_gpio_direction(gint gpio, guint direction, GError **error)
{
    guint value = 0;

    if (direction > GPIO_DIRECTION_OUT)
        ZOLV_ASSERT_NOT_REACHED();
    if (!export_line(gpio, error))
        return FALSE;
    if (direction == GPIO_DIRECTION_IN)
        return zolv::sysfs_write_text(attribute_of(gpio, "direction"), "in", error);
    return zolv::sysfs_read_flag(attribute_of(gpio, "value"), &value, error) &&
           turn_into_output(gpio, value, error);
}

gboolean
zolv_helper_get_sysfs_gpio_direction(gint gpio, guint *direction, GError **error)
{
    return export_line(gpio, error) && read_direction(gpio, direction, error);
}

gboolean
zolv_helper_set_sysfs_gpio_active_low(gint gpio, guint active_low, GError **error)
{
    return export_line(gpio, error) &&
           zolv::sysfs_write_flag(attribute_of(gpio, "active_low"), active_low == 1, error);
}

gboolean
zolv_helper_get_sysfs_gpio_active_low(gint gpio, guint *active_low, GError **error)
{
    return export_line(gpio, error) &&
           zolv::sysfs_read_flag(attribute_of(gpio, "active_low"), active_low, error);
}
