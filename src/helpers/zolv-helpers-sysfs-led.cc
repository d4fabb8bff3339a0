#include "helpers/zolv-helpers-sysfs-led.h"

#include "helpers/zolv-helpers-sysfs.h"

#include <cstring>

namespace {

constexpr gsize trigger_list_size = 255 + 1;

zolv::SysfsPath
attribute_of(const gchar *name, const char *attribute)
{
    return zolv::SysfsPath("/sys/class/leds/%s/%s", name, attribute);
}

} // namespace

gboolean
zolv_helper_set_sysfs_led_trigger(const gchar *name, const gchar *trigger, GError **error)
{
    return zolv::sysfs_write_text(attribute_of(name, "trigger"), trigger, error);
}

gboolean
zolv_helper_get_sysfs_led_trigger(const gchar *name, gchar **trigger, GError **error)
{
    static constexpr char brackets[] = "[]";
    char list[trigger_list_size];

    if (!zolv::sysfs_read_text(attribute_of(name, "trigger"), list, sizeof list, error))
        return FALSE;

    const char *bracket = strpbrk(list, brackets);
    *trigger =
        bracket != nullptr ? g_strndup(bracket + 1, strcspn(bracket + 1, brackets)) : nullptr;
    return TRUE;
}

gboolean
zolv_helper_set_sysfs_led_brightness(const gchar *name, guint brightness, GError **error)
{
    return zolv::sysfs_write_flag(attribute_of(name, "brightness"), brightness, error);
}

gboolean
zolv_helper_get_sysfs_led_brightness(const gchar *name, guint *brightness, GError **error)
{
    return zolv::sysfs_read_flag(attribute_of(name, "brightness"), brightness, error);
}
