#include "peripherals/buzzer/zolv-buzzer-gpio.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "helpers/zolv-gpio-line.h"
#include "peripherals/buzzer/zolv-buzzer-state.h"
#include "tvl-log.h"

struct _ZolvBuzzerGPIOPrivate {
    explicit _ZolvBuzzerGPIOPrivate(ZolvBuzzerGPIO *) {}
    _ZolvBuzzerGPIOPrivate(const _ZolvBuzzerGPIOPrivate &) = delete;
    _ZolvBuzzerGPIOPrivate &operator=(const _ZolvBuzzerGPIOPrivate &) = delete;
    ~_ZolvBuzzerGPIOPrivate();

    bool check_line(GError **error) const;
    bool set_state(guint state, GError **error) const;

    zolv::GpioLine line;
    bool pin_defined = false; /* the line once took the direction of a definition */
};

_ZolvBuzzerGPIOPrivate::~_ZolvBuzzerGPIOPrivate()
{
    g_autoptr(GError) error = nullptr;

    if (!set_state(0, &error))
        _tvl_log(TVL_LOG_WARN, "[Buzzer] failed to turn off buzzer %s", error->message);
}

bool
_ZolvBuzzerGPIOPrivate::check_line(GError **error) const
{
    return zolv::check_defined(pin_defined, "Buzzer pin is not set", error);
}

bool
_ZolvBuzzerGPIOPrivate::set_state(guint state, GError **error) const
{
    if (!zolv::check_buzzer_state(state, error) || !check_line(error))
        return false;
    /* Clients know the text as it is, although it is an output that is wanted. */
    if (!line.is_output())
        return zolv::fail(error, ZOLV_CORE_ERROR_NOT_PERMIT, "Buzzer pin should be set to input");
    return line.drive(state, error);
}

static gboolean
buzzer_gpio_set_state(ZolvBuzzer *buzzer, guint state, GError **error)
{
    return ZOLV_BUZZER_GPIO(buzzer)->priv->set_state(state, error);
}

static gboolean
buzzer_gpio_get_state(ZolvBuzzer *buzzer, guint *state, GError **error)
{
    const ZolvBuzzerGPIOPrivate *priv = ZOLV_BUZZER_GPIO(buzzer)->priv;

    return priv->check_line(error) && priv->line.read(state, error);
}

ZOLV_DEFINE_CLASS(ZolvBuzzerGPIO, zolv_buzzer_gpio, ZOLV_TYPE_BUZZER)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Buzzer");
    ZOLV_BUZZER_CLASS(klass)->set_state = buzzer_gpio_set_state;
    ZOLV_BUZZER_CLASS(klass)->get_state = buzzer_gpio_get_state;
}

void
zolv_buzzer_gpio_define_gpio(ZolvBuzzerGPIO *self, int pin, guint direction)
{
    ZOLV_ASSERT(ZOLV_IS_BUZZER_GPIO(self));
    ZOLV_ASSERT(pin >= 0);
    ZOLV_ASSERT(direction == GPIO_DIRECTION_IN || direction == GPIO_DIRECTION_OUT);
    ZolvBuzzerGPIOPrivate *priv = self->priv;
    ZolvBuzzer *buzzer = ZOLV_BUZZER(self);
    const ZolvBuzzerClass *klass = ZOLV_BUZZER_GET_CLASS(self);

    priv->line.define(pin, direction);
    klass->set_gpio_pin(buzzer, pin);
    klass->set_device_type(buzzer, ZOLV_BUZZER_DEVICE_TYPE_GPIO);
    if (!priv->line.apply_direction(nullptr))
        return;
    priv->pin_defined = true;
    klass->export_obj(buzzer);
}
