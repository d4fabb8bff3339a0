#include "services/zolv-partition-led-service.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "services/zolv-service-base.h"

#include <cstring>
#include <vector>

namespace {

enum DiskKind { DISK_KIND_USB = 1, DISK_KIND_SD, DISK_KIND_HOTSWAP1, DISK_KIND_HOTSWAP2 };
enum DiskStatus { DISK_ABSENT, DISK_MOUNTED, DISK_NOT_MOUNTED };

/* Model plugins pass arrays of it. */
static_assert(sizeof(ZolvPartitionLed) == 264);

} // namespace

struct _ZolvPartitionLedServicePrivate {
    zolv::ServiceBase base;
    std::vector<ZolvPartitionLed> leds;
};

static void
zolv_partition_led_service_set_property(GObject *object, guint id, const GValue *value,
                                        GParamSpec *pspec)
{
    ZOLV_PARTITION_LED_SERVICE(object)->priv->base.set_property(object, id, value, pspec);
}

ZOLV_DEFINE_CLASS(ZolvPartitionLedService, zolv_partition_led_service, G_TYPE_OBJECT)
{
    GObjectClass *object_class = G_OBJECT_CLASS(klass);

    object_class->set_property = zolv_partition_led_service_set_property;
    zolv::ServiceBase::install_properties(object_class, "zolv-partition-led-service-base-manager");
}

ZolvPartitionLedService *
zolv_partition_led_service_new(ZolvBaseManager *manager, const ZolvPartitionLed *leds, guint led_n)
{
    ZOLV_ASSERT(manager != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(manager));
    ZOLV_ASSERT(led_n <= ZOLV_PTN_LED_MAX_N);

    ZolvPartitionLedService *self = ZOLV_PARTITION_LED_SERVICE(
        g_object_new(ZOLV_TYPE_PARTITION_LED_SERVICE, "zolv-partition-led-service-base-manager",
                     manager, nullptr));

    for (guint i = 0; i < led_n; i++) {
        ZolvPartitionLed &led = self->priv->leds.emplace_back();
        memcpy(led.name, leds[i].name, strnlen(leds[i].name, sizeof led.name - 1));
        led.kind = leds[i].kind;
    }
    return self;
}

void
zolv_partition_led_service_update_led(ZolvPartitionLedService *self, const guint status[])
{
    ZOLV_ASSERT(ZOLV_IS_PARTITION_LED_SERVICE(self));

    ZOLV_DEBUG("[PartitionLedService] Number of Mount USB %d, Number of SD %d, "
               "Number of hotswap1 %d, Number of hotswap2 %d",
               static_cast<int>(status[DISK_KIND_USB]), static_cast<int>(status[DISK_KIND_SD]),
               static_cast<int>(status[DISK_KIND_HOTSWAP1]),
               static_cast<int>(status[DISK_KIND_HOTSWAP2]));
    for (ZolvPartitionLed &led : self->priv->leds) {
        const bool known = led.kind >= DISK_KIND_USB && led.kind <= DISK_KIND_HOTSWAP2;
        led.status = known ? status[led.kind] : static_cast<guint>(DISK_ABSENT);
    }
    for (const ZolvPartitionLed &led : self->priv->leds)
        if (led.status == DISK_MOUNTED || led.status == DISK_NOT_MOUNTED)
            self->priv->base.show(led.name, led.status == DISK_MOUNTED ? 1 : 0);
}
