#include "peripherals/led/zolv-led-gpio.h"

#include "core/zolv-assert.h"
#include "core/zolv-worker.h"
#include "helpers/zolv-helpers-sysfs-gpio.h"
#include "peripherals/led/zolv-led-state.h"
#include "tvl-log.h"
#include "zolv-error.h"

#include <array>
#include <chrono>

namespace {

using namespace std::chrono_literals;

struct Step {
    guint value;
    std::chrono::microseconds hold;
};

constexpr std::array<Step, 4> heartbeat_pattern = {{{1, 70ms}, {0, 245ms}, {1, 70ms}, {0, 875ms}}};

} // namespace

struct _ZolvLEDGPIOPrivate {
    int pin = -1;
    int direction = GPIO_DIRECTION_OUT;
    bool pin_defined = false;
    zolv::Worker heartbeat;
};

G_DEFINE_TYPE(ZolvLEDGPIO, zolv_led_gpio, ZOLV_TYPE_LED)

static bool
check_pin_defined(const ZolvLEDGPIOPrivate *priv, GError **error)
{
    if (!priv->pin_defined)
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_PERIPH_NOT_READY,
                            "LED GPIO pin is not set");
    return priv->pin_defined;
}

static gboolean
start_heartbeat(ZolvLEDGPIOPrivate *priv, GError **error)
{
    const auto beat = [pin = priv->pin](zolv::Worker &worker) {
        while (worker.running())
            for (const Step &step : heartbeat_pattern) {
                if (!worker.running())
                    return;
                /* A blink that fails is not worth a line each: the next one may work. */
                zolv_helper_set_sysfs_gpio_value(pin, step.value, nullptr);
                worker.sleep_for(step.hold);
            }
    };

    if (priv->heartbeat.start("led_heartbeat", beat))
        return TRUE;
    g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_SYSTEM,
                        "LED heartbeat thread cannot be started");
    return FALSE;
}

static gboolean
led_gpio_set_state(ZolvLED *led, guint state, GError **error)
{
    ZolvLEDGPIOPrivate *priv = ZOLV_LED_GPIO(led)->priv;

    if (!check_pin_defined(priv, error))
        return FALSE;
    if (priv->direction != GPIO_DIRECTION_OUT) {
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_INVAL_ARG,
                            "LED GPIO pin should be set to output");
        return FALSE;
    }
    if (state > zolv::led_heartbeat) {
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_INVAL_ARG,
                            "LED GPIO is not support state");
        return FALSE;
    }
    if (state == zolv::led_heartbeat)
        return start_heartbeat(priv, error);
    /* The thread has the line on loan: the steady value is written after its end. */
    priv->heartbeat.stop();
    return zolv_helper_set_sysfs_gpio_value(priv->pin, state, error);
}

static gboolean
led_gpio_get_state(ZolvLED *led, guint *state, GError **error)
{
    ZolvLEDGPIOPrivate *priv = ZOLV_LED_GPIO(led)->priv;

    if (!check_pin_defined(priv, error))
        return FALSE;
    if (priv->heartbeat.started()) {
        *state = zolv::led_heartbeat;
        return TRUE;
    }
    GError *read_error = nullptr;
    if (zolv_helper_get_sysfs_gpio_value(priv->pin, state, &read_error))
        return TRUE;
    if (read_error == nullptr)
        read_error = g_error_new_literal(ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_DEVICE_IO,
                                         "Failed to get GPIO value");
    g_propagate_error(error, read_error);
    return FALSE;
}

static void
zolv_led_gpio_init(ZolvLEDGPIO *self)
{
    self->priv = new ZolvLEDGPIOPrivate;
}

static void
zolv_led_gpio_finalize(GObject *object)
{
    ZolvLEDGPIO *self = ZOLV_LED_GPIO(object);
    g_autoptr(GError) error = nullptr;

    self->priv->heartbeat.stop();
    if (!led_gpio_set_state(ZOLV_LED(self), 0, &error))
        _tvl_log(TVL_LOG_WARN, "Failed to turn off LED %s", error->message);
    delete self->priv;
    G_OBJECT_CLASS(zolv_led_gpio_parent_class)->finalize(object);
}

static void
zolv_led_gpio_class_init(ZolvLEDGPIOClass *klass)
{
    G_OBJECT_CLASS(klass)->finalize = zolv_led_gpio_finalize;
    ZOLV_LED_CLASS(klass)->set_state = led_gpio_set_state;
    ZOLV_LED_CLASS(klass)->get_state = led_gpio_get_state;
}

void
zolv_led_gpio_define_gpio(ZolvLEDGPIO *self, int pin, gboolean active_low)
{
    ZOLV_ASSERT(ZOLV_IS_LED_GPIO(self));
    ZOLV_ASSERT(pin >= 0);
    ZolvLEDGPIOPrivate *priv = self->priv;
    guint direction = GPIO_DIRECTION_IN;

    priv->pin = pin;
    priv->pin_defined = true;
    if (!zolv_helper_set_sysfs_gpio_active_low(pin, active_low ? 1 : 0, nullptr))
        _tvl_log(TVL_LOG_ERROR, "Set GPIO active low failed");
    if (!zolv_helper_get_sysfs_gpio_direction(pin, &direction, nullptr))
        _tvl_log(TVL_LOG_ERROR, "Get GPIO direction failed");
    if (direction != GPIO_DIRECTION_OUT) {
        priv->direction = GPIO_DIRECTION_OUT;
        if (!zolv_helper_set_sysfs_gpio_direction(pin, GPIO_DIRECTION_OUT, nullptr))
            _tvl_log(TVL_LOG_ERROR, "Set GPIO direction for pin failed");
    }
    zolv_obj_export(ZOLV_OBJ(self));
}
