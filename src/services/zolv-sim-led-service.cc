#include "services/zolv-sim-led-service.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "services/zolv-service-base.h"

#include <cstdarg>
#include <string>
#include <vector>

#define MAX_LED_NUM 3

struct _ZolvSimLedServicePrivate {
    zolv::ServiceBase base;
    guint active_slot = 0;
    std::vector<std::string> led_names; /* slot 1 first */
};

static void
zolv_sim_led_service_set_property(GObject *object, guint id, const GValue *value, GParamSpec *pspec)
{
    ZOLV_SIM_LED_SERVICE(object)->priv->base.set_property(object, id, value, pspec);
}

ZOLV_DEFINE_CLASS(ZolvSimLedService, zolv_sim_led_service, G_TYPE_OBJECT)
{
    GObjectClass *object_class = G_OBJECT_CLASS(klass);

    object_class->set_property = zolv_sim_led_service_set_property;
    zolv::ServiceBase::install_properties(object_class, "zolv-sim-led-service-base-manager",
                                          "zolv-sim-led-service-interface");
}

ZolvSimLedService *
zolv_sim_led_service_new(const char *interface, ZolvBaseManager *manager, guint number_of_leds, ...)
{
    ZOLV_ASSERT(interface != NULL);
    ZOLV_ASSERT(manager != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(manager));
    ZOLV_ASSERT(number_of_leds <= MAX_LED_NUM);

    ZolvSimLedService *self = ZOLV_SIM_LED_SERVICE(
        g_object_new(ZOLV_TYPE_SIM_LED_SERVICE, "zolv-sim-led-service-interface", interface,
                     "zolv-sim-led-service-base-manager", manager, nullptr));
    va_list names;

    va_start(names, number_of_leds);
    for (guint i = 0; i < number_of_leds; i++) {
        const char *name = va_arg(names, const char *);
        self->priv->led_names.emplace_back(name != nullptr ? name : "");
    }
    va_end(names);
    return self;
}

void
zolv_sim_led_service_update_leds(ZolvSimLedService *self, guint slot)
{
    ZOLV_ASSERT(ZOLV_IS_SIM_LED_SERVICE(self));
    ZolvSimLedServicePrivate *priv = self->priv;
    guint led_slot = 0;

    priv->active_slot = slot;
    for (const std::string &name : priv->led_names)
        priv->base.show(name, ++led_slot == priv->active_slot ? 1 : 0);
}
