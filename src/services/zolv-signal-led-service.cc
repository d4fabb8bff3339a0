#include "services/zolv-signal-led-service.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "peripherals/led/zolv-led-state.h"
#include "services/zolv-service-base.h"

#include <array>
#include <string>

namespace {

constexpr guint state_connected = 9;
constexpr guint max_level = 5;

/* What the bar shows: 0 not connected, 1 the weakest signal, 5 the best. */
guint
level_to_show(bool connected, guint strength, guint percentage)
{
    if (!connected)
        return 0;
    if (strength != 0)
        return strength <= 4 ? strength + 1 : 1;
    if (percentage > 80)
        return 5;
    if (percentage > 60)
        return 4;
    if (percentage > 40)
        return 3;
    return percentage > 20 ? 2 : 1;
}

/* State of the LED at @position, counted from 0. */
guint
bar_led_state(guint level, guint position)
{
    if (level == 1)
        return position == 0 ? zolv::led_heartbeat : 0;
    return level >= 2 && level <= max_level && position < level - 1 ? 1 : 0;
}

} // namespace

struct _ZolvSignalLedServicePrivate {
    zolv::ServiceBase base;
    bool connected = false;
    guint signal_strength = 0; /* bars */
    guint signal_level = 0;    /* percent */
    guint number_of_leds = 0;
    bool has_status_led = false;
    std::array<std::string, 4> led_names;
    std::string status_led_name;
    guint shown_level = 0;
};

static void
show_level(ZolvSignalLedServicePrivate *priv)
{
    const char *interface = priv->base.interface();
    const guint level = level_to_show(priv->connected, priv->signal_strength, priv->signal_level);

    if (priv->number_of_leds == 0) {
        ZOLV_DEBUG("[SignalLedService/%s] Light up failed because of invalid number of LEDs: %d",
                   interface, static_cast<int>(priv->number_of_leds));
        return;
    }
    if (level == priv->shown_level) {
        ZOLV_DEBUG("[SignalLedService/%s] No need to update LED", interface);
        return;
    }
    priv->shown_level = level;
    for (guint i = 0; i < priv->number_of_leds; i++)
        priv->base.show(priv->led_names[i], bar_led_state(level, i));
    if (priv->has_status_led)
        priv->base.show(priv->status_led_name, level != 0 ? 1 : 0);
}

static void
zolv_signal_led_service_set_property(GObject *object, guint id, const GValue *value,
                                     GParamSpec *pspec)
{
    ZOLV_SIGNAL_LED_SERVICE(object)->priv->base.set_property(object, id, value, pspec);
}

ZOLV_DEFINE_CLASS(ZolvSignalLedService, zolv_signal_led_service, G_TYPE_OBJECT)
{
    GObjectClass *object_class = G_OBJECT_CLASS(klass);

    object_class->set_property = zolv_signal_led_service_set_property;
    zolv::ServiceBase::install_properties(object_class, "zolv-signal-led-service-base-manager",
                                          "zolv-signal-led-service-interface");
}

ZolvSignalLedService *
zolv_signal_led_service_new(const char *interface, ZolvBaseManager *manager, int number_of_leds,
                            gboolean has_status_led, const char *led1, const char *led2,
                            const char *led3, const char *led4, const char *status_led)
{
    ZOLV_ASSERT(interface != NULL);
    ZOLV_ASSERT(manager != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(manager));
    ZOLV_ASSERT((number_of_leds == 2) || (number_of_leds == 3) || (number_of_leds == 4));

    ZolvSignalLedService *self = ZOLV_SIGNAL_LED_SERVICE(
        g_object_new(ZOLV_TYPE_SIGNAL_LED_SERVICE, "zolv-signal-led-service-interface", interface,
                     "zolv-signal-led-service-base-manager", manager, nullptr));
    ZolvSignalLedServicePrivate *priv = self->priv;
    const std::array names = {led1, led2, led3, led4};

    priv->number_of_leds = static_cast<guint>(number_of_leds);
    priv->has_status_led = has_status_led != FALSE;
    for (std::size_t i = 0; i < names.size(); i++)
        priv->led_names[i] = names[i] != nullptr ? names[i] : "";
    priv->status_led_name = status_led != nullptr ? status_led : "";
    return self;
}

void
zolv_signal_led_service_update_signal_level(ZolvSignalLedService *self, guint level)
{
    ZOLV_ASSERT(ZOLV_IS_SIGNAL_LED_SERVICE(self));
    ZOLV_DEBUG("[SignalLedService/%s] SignalLevel changed to %d", self->priv->base.interface(),
               static_cast<int>(level));
    self->priv->signal_level = level;
    show_level(self->priv);
}

void
zolv_signal_led_service_update_signal_strength(ZolvSignalLedService *self, guint strength)
{
    ZOLV_ASSERT(ZOLV_IS_SIGNAL_LED_SERVICE(self));
    ZOLV_DEBUG("[SignalLedService/%s] SignalStrength changed to %d", self->priv->base.interface(),
               static_cast<int>(strength));
    self->priv->signal_strength = strength;
    show_level(self->priv);
}

void
zolv_signal_led_service_update_conn_state(ZolvSignalLedService *self, guint state)
{
    ZOLV_ASSERT(ZOLV_IS_SIGNAL_LED_SERVICE(self));
    self->priv->connected = state == state_connected;
    show_level(self->priv);
}
