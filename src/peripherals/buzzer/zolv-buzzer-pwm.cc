#include "peripherals/buzzer/zolv-buzzer-pwm.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-obj-log.h"
#include "helpers/zolv-helpers-sysfs-pwm.h"
#include "peripherals/buzzer/zolv-buzzer-state.h"

#include <atomic>

namespace {

constexpr guint default_frequency_hz = 440;
constexpr guint default_period_ns = 2272727;
constexpr guint second_ns = 1000000000;

/* The number that @text begins with; 0 when there is none that a frequency can be. */
guint
parse_frequency(const char *text)
{
    const gint64 number = g_ascii_strtoll(text, nullptr, 10);

    return number > 0 && number <= G_MAXUINT ? static_cast<guint>(number) : 0;
}

} // namespace

struct _ZolvBuzzerPWMPrivate {
    explicit _ZolvBuzzerPWMPrivate(ZolvBuzzerPWM *owner) : self(owner) {}
    _ZolvBuzzerPWMPrivate(const _ZolvBuzzerPWMPrivate &) = delete;
    _ZolvBuzzerPWMPrivate &operator=(const _ZolvBuzzerPWMPrivate &) = delete;
    ~_ZolvBuzzerPWMPrivate() { silence(); }

    void update_period();
    bool set_state(guint wanted, GError **error);
    bool silence();

    ZolvBuzzerPWM *self; /* not owned */
    guint chip = 0;
    guint channel = 0;
    guint frequency_hz = default_frequency_hz;
    guint period_ns = default_period_ns;
    double duty_ratio = 0.5;
    std::atomic<guint> state = 0;
};

void
_ZolvBuzzerPWMPrivate::update_period()
{
    if (const char *text = g_getenv("BUZZER_FREQUENCY"); text != nullptr) {
        const guint wanted_hz = parse_frequency(text);
        frequency_hz = wanted_hz != 0 ? wanted_hz : default_frequency_hz;
    }
    period_ns = second_ns / frequency_hz;
}

bool
_ZolvBuzzerPWMPrivate::set_state(guint wanted, GError **error)
{
    bool written = true;

    if (!zolv::check_buzzer_state(wanted, error))
        return false;
    if (wanted == 1) {
        update_period();
        const auto duty_cycle_ns = static_cast<guint>(period_ns * duty_ratio);
        written = zolv_helper_set_sysfs_pwm_value(chip, channel, period_ns, duty_cycle_ns, error);
    }
    /* The first error stands, and neither of them is a failure. */
    zolv_helper_set_sysfs_pwm_state(chip, channel, wanted, written ? error : nullptr);
    state = wanted;
    return true;
}

bool
_ZolvBuzzerPWMPrivate::silence()
{
    g_autoptr(GError) error = nullptr;
    const bool silent = set_state(0, &error);

    if (!silent)
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "failed to turn off buzzer %s", error->message);
    return silent;
}

static gboolean
buzzer_pwm_set_state(ZolvBuzzer *buzzer, guint state, GError **error)
{
    return ZOLV_BUZZER_PWM(buzzer)->priv->set_state(state, error);
}

static gboolean
buzzer_pwm_get_state(ZolvBuzzer *buzzer, guint *state, GError **)
{
    *state = ZOLV_BUZZER_PWM(buzzer)->priv->state;
    return TRUE;
}

ZOLV_DEFINE_CLASS(ZolvBuzzerPWM, zolv_buzzer_pwm, ZOLV_TYPE_BUZZER)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Buzzer");
    ZOLV_BUZZER_CLASS(klass)->set_state = buzzer_pwm_set_state;
    ZOLV_BUZZER_CLASS(klass)->get_state = buzzer_pwm_get_state;
}

void
zolv_buzzer_pwm_define(ZolvBuzzerPWM *self)
{
    ZOLV_ASSERT(ZOLV_IS_BUZZER_PWM(self));
    ZolvBuzzer *buzzer = ZOLV_BUZZER(self);

    ZOLV_BUZZER_GET_CLASS(self)->set_device_type(buzzer, ZOLV_BUZZER_DEVICE_TYPE_PWM);
    if (self->priv->silence())
        ZOLV_BUZZER_GET_CLASS(self)->export_obj(buzzer);
}
