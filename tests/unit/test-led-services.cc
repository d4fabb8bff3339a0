#include "core/zolv-raii.h"
#include "services/zolv-partition-led-service.h"
#include "services/zolv-signal-led-service.h"
#include "services/zolv-sim-led-service.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace {

/* Not set up: the services only keep it. */
zolv::ObjectPtr<ZolvBaseManager>
new_manager()
{
    return zolv::ObjectPtr<ZolvBaseManager>(
        ZOLV_BASE_MANAGER(g_object_new(ZOLV_TYPE_BASE_MANAGER, nullptr)));
}

struct Property {
    GType service;
    const char *name;
    const char *nick;
    const char *blurb;
    GType type;
};

TEST(LedServices, HaveTheirPropertiesAndTakeThemWhenTheyAreMade)
{
    const GType signal = ZOLV_TYPE_SIGNAL_LED_SERVICE;
    const GType sim = ZOLV_TYPE_SIM_LED_SERVICE;
    const GType partition = ZOLV_TYPE_PARTITION_LED_SERVICE;
    const char handle[] = "The network interface of the handle";
    const Property properties[] = {
        {signal, "zolv-signal-led-service-interface", "Interface", handle, G_TYPE_STRING},
        {signal, "zolv-signal-led-service-base-manager", "Base Manager", "Base Manager",
         ZOLV_TYPE_BASE_MANAGER},
        {sim, "zolv-sim-led-service-interface", "Interface", handle, G_TYPE_STRING},
        {sim, "zolv-sim-led-service-base-manager", "Base Manager", "Base Manager",
         ZOLV_TYPE_BASE_MANAGER},
        {partition, "zolv-partition-led-service-base-manager", "Base Manager", "Base Manager",
         ZOLV_TYPE_BASE_MANAGER}};

    for (const Property &property : properties) {
        auto *klass = G_OBJECT_CLASS(g_type_class_ref(property.service));
        GParamSpec *spec = g_object_class_find_property(klass, property.name);
        ASSERT_NE(spec, nullptr) << property.name;
        EXPECT_STREQ(g_param_spec_get_nick(spec), property.nick) << property.name;
        EXPECT_STREQ(g_param_spec_get_blurb(spec), property.blurb) << property.name;
        EXPECT_EQ(spec->value_type, property.type) << property.name;
        EXPECT_NE(spec->flags & G_PARAM_CONSTRUCT_ONLY, 0) << property.name;
        g_type_class_unref(klass);
    }
}

TEST(LedServices, KeepTheManagerAsLongAsTheyLive)
{
    const auto manager = new_manager();
    const auto expect_reference = [&manager](gpointer service) {
        EXPECT_EQ(G_OBJECT(manager.get())->ref_count, 2U) << G_OBJECT_TYPE_NAME(service);
        g_object_unref(service);
        EXPECT_EQ(G_OBJECT(manager.get())->ref_count, 1U);
    };

    expect_reference(zolv_signal_led_service_new("wwan0", manager.get(), 2, FALSE, "LED/A", "LED/B",
                                                 nullptr, nullptr, nullptr));
    expect_reference(zolv_sim_led_service_new("wwan0", manager.get(), 1, "LED/A"));
    expect_reference(zolv_partition_led_service_new(manager.get(), nullptr, 0));
}

/* No byte behind the name is zero, and the memory ends there. */
TEST(LedServices, TakeANameWithoutATerminator)
{
    const auto manager = new_manager();
    std::vector<ZolvPartitionLed> leds(1);

    memset(leds.data(), 'x', sizeof leds[0]);
    g_object_unref(zolv_partition_led_service_new(manager.get(), leds.data(), 1));
}

} // namespace
