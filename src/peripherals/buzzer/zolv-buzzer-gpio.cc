#include "peripherals/buzzer/zolv-buzzer-gpio.h"

#include "core/zolv-assert.h"
#include "helpers/zolv-helpers-sysfs-gpio.h"
#include "peripherals/buzzer/zolv-buzzer-state.h"
#include "tvl-log.h"

struct _ZolvBuzzerGPIOPrivate {
    int pin = -1;
    guint direction = GPIO_DIRECTION_IN;
    bool pin_defined = false;
};

G_DEFINE_TYPE(ZolvBuzzerGPIO, zolv_buzzer_gpio, ZOLV_TYPE_BUZZER)

static bool
check_pin_defined(const ZolvBuzzerGPIOPrivate *priv, GError **error)
{
    if (!priv->pin_defined)
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_PERIPH_NOT_READY,
                            "Buzzer pin is not set");
    return priv->pin_defined;
}

static gboolean
buzzer_gpio_set_state(ZolvBuzzer *buzzer, guint state, GError **error)
{
    const ZolvBuzzerGPIOPrivate *priv = ZOLV_BUZZER_GPIO(buzzer)->priv;

    if (!zolv::check_buzzer_state(state, error) || !check_pin_defined(priv, error))
        return FALSE;
    if (priv->direction != GPIO_DIRECTION_OUT) {
        /* Clients know the text as it is, although it is an output that is wanted. */
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_NOT_PERMIT,
                            "Buzzer pin should be set to input");
        return FALSE;
    }
    return zolv_helper_set_sysfs_gpio_value(priv->pin, state, error);
}

static gboolean
buzzer_gpio_get_state(ZolvBuzzer *buzzer, guint *state, GError **error)
{
    const ZolvBuzzerGPIOPrivate *priv = ZOLV_BUZZER_GPIO(buzzer)->priv;

    return check_pin_defined(priv, error) &&
           zolv_helper_get_sysfs_gpio_value(priv->pin, state, error);
}

static void
zolv_buzzer_gpio_init(ZolvBuzzerGPIO *self)
{
    self->priv = new ZolvBuzzerGPIOPrivate;
}

static void
zolv_buzzer_gpio_finalize(GObject *object)
{
    g_autoptr(GError) error = nullptr;

    if (!buzzer_gpio_set_state(ZOLV_BUZZER(object), 0, &error))
        _tvl_log(TVL_LOG_WARN, "[Buzzer] failed to turn off buzzer %s", error->message);
    delete ZOLV_BUZZER_GPIO(object)->priv;
    G_OBJECT_CLASS(zolv_buzzer_gpio_parent_class)->finalize(object);
}

static void
zolv_buzzer_gpio_class_init(ZolvBuzzerGPIOClass *klass)
{
    G_OBJECT_CLASS(klass)->finalize = zolv_buzzer_gpio_finalize;
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

    priv->pin = pin;
    priv->direction = direction;
    klass->set_gpio_pin(buzzer, pin);
    klass->set_device_type(buzzer, ZOLV_BUZZER_DEVICE_TYPE_GPIO);
    if (!zolv_helper_set_sysfs_gpio_direction(pin, direction, nullptr))
        return;
    priv->pin_defined = true;
    klass->export_obj(buzzer);
}
