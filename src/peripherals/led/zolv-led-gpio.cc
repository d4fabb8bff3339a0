#include "peripherals/led/zolv-led-gpio.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-worker.h"
#include "helpers/zolv-gpio-line.h"
#include "peripherals/led/zolv-led-state.h"
#include "tvl-log.h"

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
    explicit _ZolvLEDGPIOPrivate(ZolvLEDGPIO *) {}
    _ZolvLEDGPIOPrivate(const _ZolvLEDGPIOPrivate &) = delete;
    _ZolvLEDGPIOPrivate &operator=(const _ZolvLEDGPIOPrivate &) = delete;
    ~_ZolvLEDGPIOPrivate();

    bool check_line(GError **error) const;
    bool start_heartbeat(GError **error);
    bool set_state(guint state, GError **error);

    zolv::GpioLine line;
    zolv::Worker heartbeat;
};

_ZolvLEDGPIOPrivate::~_ZolvLEDGPIOPrivate()
{
    g_autoptr(GError) error = nullptr;

    if (!set_state(0, &error))
        _tvl_log(TVL_LOG_WARN, "Failed to turn off LED %s", error->message);
}

bool
_ZolvLEDGPIOPrivate::check_line(GError **error) const
{
    return zolv::check_defined(line.defined(), "LED GPIO pin is not set", error);
}

bool
_ZolvLEDGPIOPrivate::start_heartbeat(GError **error)
{
    const auto beat = [line = line](zolv::Worker &worker) {
        while (worker.running())
            for (const Step &step : heartbeat_pattern) {
                if (!worker.running())
                    return;
                /* A blink that fails is not worth a line each: the next one may work. */
                line.drive(step.value, nullptr);
                worker.sleep_for(step.hold);
            }
    };

    return heartbeat.start("led_heartbeat", beat) ||
           zolv::fail(error, ZOLV_CORE_ERROR_SYSTEM, "LED heartbeat thread cannot be started");
}

bool
_ZolvLEDGPIOPrivate::set_state(guint state, GError **error)
{
    if (!check_line(error))
        return false;
    if (!line.is_output())
        return zolv::fail(error, ZOLV_CORE_ERROR_INVAL_ARG, "LED GPIO pin should be set to output");
    if (state > zolv::led_heartbeat)
        return zolv::fail(error, ZOLV_CORE_ERROR_INVAL_ARG, "LED GPIO is not support state");
    if (state == zolv::led_heartbeat)
        return start_heartbeat(error);
    /* The thread has the line on loan: the steady value is written after its end. */
    heartbeat.stop();
    return line.drive(state, error);
}

static gboolean
led_gpio_set_state(ZolvLED *led, guint state, GError **error)
{
    return ZOLV_LED_GPIO(led)->priv->set_state(state, error);
}

static gboolean
led_gpio_get_state(ZolvLED *led, guint *state, GError **error)
{
    const ZolvLEDGPIOPrivate *priv = ZOLV_LED_GPIO(led)->priv;

    if (!priv->check_line(error))
        return FALSE;
    if (priv->heartbeat.started()) {
        *state = zolv::led_heartbeat;
        return TRUE;
    }
    GError *read_error = nullptr;
    if (priv->line.read(state, &read_error))
        return TRUE;
    if (read_error == nullptr)
        return zolv::fail(error, ZOLV_CORE_ERROR_DEVICE_IO, "Failed to get GPIO value");
    g_propagate_error(error, read_error);
    return FALSE;
}

ZOLV_DEFINE_CLASS(ZolvLEDGPIO, zolv_led_gpio, ZOLV_TYPE_LED)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "LED");
    ZOLV_LED_CLASS(klass)->set_state = led_gpio_set_state;
    ZOLV_LED_CLASS(klass)->get_state = led_gpio_get_state;
}

void
zolv_led_gpio_define_gpio(ZolvLEDGPIO *self, int pin, gboolean active_low)
{
    ZOLV_ASSERT(ZOLV_IS_LED_GPIO(self));
    ZOLV_ASSERT(pin >= 0);
    zolv::GpioLine &line = self->priv->line;
    ZolvObj *obj = ZOLV_OBJ(self);
    guint direction = GPIO_DIRECTION_IN;

    line.define(pin, GPIO_DIRECTION_OUT);
    if (!line.set_active_low(active_low, nullptr))
        zolv_obj_log_failed_step(obj, "Set GPIO active low failed");
    if (!line.read_direction(&direction, nullptr))
        zolv_obj_log_failed_step(obj, "Get GPIO direction failed");
    if (direction != GPIO_DIRECTION_OUT && !line.apply_direction(nullptr))
        zolv_obj_log_failed_step(obj, "Set GPIO direction for pin failed");
    zolv_obj_export(obj);
}
