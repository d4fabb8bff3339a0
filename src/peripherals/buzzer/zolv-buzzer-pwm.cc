#include "peripherals/buzzer/zolv-buzzer-pwm.h"

#include "core/zolv-assert.h"
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
    guint chip = 0;
    guint channel = 0;
    guint frequency_hz = default_frequency_hz;
    guint period_ns = default_period_ns;
    double duty_ratio = 0.5;
    std::atomic<guint> state = 0;
};

G_DEFINE_TYPE(ZolvBuzzerPWM, zolv_buzzer_pwm, ZOLV_TYPE_BUZZER)

static void
update_period(ZolvBuzzerPWMPrivate *priv)
{
    if (const char *text = g_getenv("BUZZER_FREQUENCY"); text != nullptr) {
        const guint wanted_hz = parse_frequency(text);
        priv->frequency_hz = wanted_hz != 0 ? wanted_hz : default_frequency_hz;
    }
    priv->period_ns = second_ns / priv->frequency_hz;
}

static gboolean
buzzer_pwm_set_state(ZolvBuzzer *buzzer, guint state, GError **error)
{
    ZolvBuzzerPWMPrivate *priv = ZOLV_BUZZER_PWM(buzzer)->priv;
    bool written = true;

    if (!zolv::check_buzzer_state(state, error))
        return FALSE;
    if (state == 1) {
        update_period(priv);
        const auto duty_cycle_ns = static_cast<guint>(priv->period_ns * priv->duty_ratio);
        written = zolv_helper_set_sysfs_pwm_value(priv->chip, priv->channel, priv->period_ns,
                                                  duty_cycle_ns, error);
    }
    /* The first error stands, and neither of them is a failure. */
    zolv_helper_set_sysfs_pwm_state(priv->chip, priv->channel, state, written ? error : nullptr);
    priv->state = state;
    return TRUE;
}

static gboolean
buzzer_pwm_get_state(ZolvBuzzer *buzzer, guint *state, GError **)
{
    *state = ZOLV_BUZZER_PWM(buzzer)->priv->state;
    return TRUE;
}

static bool
silence(ZolvBuzzerPWM *self)
{
    g_autoptr(GError) error = nullptr;
    const bool silent = buzzer_pwm_set_state(ZOLV_BUZZER(self), 0, &error);

    if (!silent)
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "failed to turn off buzzer %s", error->message);
    return silent;
}

static void
zolv_buzzer_pwm_init(ZolvBuzzerPWM *self)
{
    self->priv = new ZolvBuzzerPWMPrivate;
}

static void
zolv_buzzer_pwm_finalize(GObject *object)
{
    silence(ZOLV_BUZZER_PWM(object));
    delete ZOLV_BUZZER_PWM(object)->priv;
    G_OBJECT_CLASS(zolv_buzzer_pwm_parent_class)->finalize(object);
}

static void
zolv_buzzer_pwm_class_init(ZolvBuzzerPWMClass *klass)
{
    G_OBJECT_CLASS(klass)->finalize = zolv_buzzer_pwm_finalize;
    ZOLV_BUZZER_CLASS(klass)->set_state = buzzer_pwm_set_state;
    ZOLV_BUZZER_CLASS(klass)->get_state = buzzer_pwm_get_state;
}

void
zolv_buzzer_pwm_define(ZolvBuzzerPWM *self)
{
    ZOLV_ASSERT(ZOLV_IS_BUZZER_PWM(self));
    ZolvBuzzer *buzzer = ZOLV_BUZZER(self);

    ZOLV_BUZZER_GET_CLASS(self)->set_device_type(buzzer, ZOLV_BUZZER_DEVICE_TYPE_PWM);
    if (silence(self))
        ZOLV_BUZZER_GET_CLASS(self)->export_obj(buzzer);
}
