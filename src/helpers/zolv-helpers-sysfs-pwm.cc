#include "helpers/zolv-helpers-sysfs-pwm.h"

#include "core/zolv-assert.h"
#include "helpers/zolv-helpers-sysfs.h"

#include <cstring>

namespace {

constexpr gsize text_size = 20 + 1;
constexpr const char *polarities[] = {"normal", "inversed"};

class Channel {
  public:
    Channel(guint chip, guint channel) : chip_(chip), channel_(channel) {}

    zolv::SysfsPath attribute(const char *attribute) const
    {
        return zolv::SysfsPath("/sys/class/pwm/pwmchip%u/pwm%u/%s", chip_, channel_, attribute);
    }

    bool export_it(GError **error) const
    {
        const zolv::SysfsPath path("/sys/class/pwm/pwmchip%u/export", chip_);
        char number[sizeof "4294967295"];

        g_snprintf(number, sizeof number, "%u", channel_);
        return zolv::sysfs_export(attribute("enable"), path, number, error);
    }

    bool write_number(const char *name, guint number, GError **error) const
    {
        char digits[text_size];

        g_snprintf(digits, sizeof digits, "%u", number);
        return zolv::sysfs_write_text(attribute(name), digits, error);
    }

    bool read_number(const char *name, guint *number, GError **error) const
    {
        char digits[text_size];

        if (!zolv::sysfs_read_text(attribute(name), digits, sizeof digits, error))
            return false;
        *number = static_cast<guint>(MIN(g_ascii_strtoull(digits, nullptr, 10), G_MAXUINT));
        return true;
    }

  private:
    guint chip_;
    guint channel_;
};

} // namespace

gboolean
zolv_helper_set_sysfs_pwm_value(guint chip, guint channel, guint period_ns, guint duty_cycle_ns,
                                GError **error)
{
    const Channel pwm(chip, channel);

    return pwm.export_it(error) && pwm.write_number("duty_cycle", 0, error) &&
           pwm.write_number("period", period_ns, error) &&
           pwm.write_number("duty_cycle", duty_cycle_ns, error);
}

gboolean
zolv_helper_get_sysfs_pwm_value(guint chip, guint channel, guint *period_ns, guint *duty_cycle_ns,
                                GError **error)
{
    const Channel pwm(chip, channel);
    guint period = 0;
    guint duty_cycle = 0;

    if (!pwm.export_it(error) || !pwm.read_number("period", &period, error) ||
        !pwm.read_number("duty_cycle", &duty_cycle, error))
        return FALSE;
    *period_ns = period;
    *duty_cycle_ns = duty_cycle;
    return TRUE;
}

gboolean
zolv_helper_set_sysfs_pwm_polarity(guint chip, guint channel, guint polarity, GError **error)
{
    const Channel pwm(chip, channel);

    if (polarity >= G_N_ELEMENTS(polarities))
        ZOLV_ASSERT_NOT_REACHED();
    return pwm.export_it(error) &&
           zolv::sysfs_write_text(pwm.attribute("polarity"), polarities[polarity], error);
}

gboolean
zolv_helper_get_sysfs_pwm_polarity(guint chip, guint channel, guint *polarity, GError **error)
{
    const Channel pwm(chip, channel);
    char word[text_size];
    guint found = 0;

    if (!pwm.export_it(error) ||
        !zolv::sysfs_read_text(pwm.attribute("polarity"), word, sizeof word, error))
        return FALSE;
    while (found < G_N_ELEMENTS(polarities) && strcmp(word, polarities[found]) != 0)
        found++;
    if (found == G_N_ELEMENTS(polarities))
        ZOLV_ASSERT_NOT_REACHED();
    *polarity = found;
    return TRUE;
}

gboolean
zolv_helper_set_sysfs_pwm_state(guint chip, guint channel, guint state, GError **error)
{
    const Channel pwm(chip, channel);

    if (state > 1)
        ZOLV_ASSERT_NOT_REACHED();
    return pwm.export_it(error) && zolv::sysfs_write_flag(pwm.attribute("enable"), state, error);
}

gboolean
zolv_helper_get_sysfs_pwm_state(guint chip, guint channel, guint *state, GError **error)
{
    const Channel pwm(chip, channel);

    return pwm.export_it(error) && zolv::sysfs_read_flag(pwm.attribute("enable"), state, error);
}
