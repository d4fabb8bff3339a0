#include "core/zolv-raii.h"
#include "manager/zolv-lnv-client.h"

#include <gtest/gtest.h>

namespace {

struct Property {
    const char *name;
    const char *nick;
    const char *blurb;
    GType type;
};

TEST(LnvClient, HasItsPropertiesAndTakesThemWhenItIsMade)
{
    const Property properties[] = {
        {"zolv-lnv-client-connection", "Connection", "GDBus connection to the system bus.",
         G_TYPE_DBUS_CONNECTION},
        {"zolv-lnv-client-base-manager", "Base Manager", "The BaseManager object.",
         ZOLV_TYPE_BASE_MANAGER},
    };
    auto *klass = G_OBJECT_CLASS(g_type_class_ref(ZOLV_TYPE_LNV_CLIENT));

    for (const Property &property : properties) {
        GParamSpec *spec = g_object_class_find_property(klass, property.name);
        ASSERT_NE(spec, nullptr) << property.name;
        EXPECT_STREQ(g_param_spec_get_nick(spec), property.nick);
        EXPECT_STREQ(g_param_spec_get_blurb(spec), property.blurb);
        EXPECT_EQ(spec->value_type, property.type) << property.name;
        EXPECT_NE(spec->flags & G_PARAM_CONSTRUCT_ONLY, 0) << property.name;
    }
    g_type_class_unref(klass);
}

TEST(LnvClient, KeepsConnectionAndManagerAsLongAsItLives)
{
    const zolv::ObjectPtr<GObject> connection(
        G_OBJECT(g_object_new(G_TYPE_DBUS_CONNECTION, nullptr)));
    const zolv::ObjectPtr<GObject> manager(G_OBJECT(g_object_new(ZOLV_TYPE_BASE_MANAGER, nullptr)));
    zolv::ObjectPtr<ZolvLnvClient> client(
        zolv_lnv_client_new(G_DBUS_CONNECTION(connection.get()), ZOLV_BASE_MANAGER(manager.get())));

    EXPECT_EQ(connection->ref_count, 2U);
    EXPECT_EQ(manager->ref_count, 2U);
    client.reset();
    EXPECT_EQ(connection->ref_count, 1U);
    EXPECT_EQ(manager->ref_count, 1U);
}

TEST(LnvClient, NeedsItsArguments)
{
    const zolv::ObjectPtr<GObject> connection(
        G_OBJECT(g_object_new(G_TYPE_DBUS_CONNECTION, nullptr)));
    auto *bus = G_DBUS_CONNECTION(connection.get());

    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_DEATH(zolv_lnv_client_new(nullptr, nullptr),
                 "zolv_lnv_client_new: assertion failed: \\(connection != NULL\\)");
    EXPECT_DEATH(zolv_lnv_client_new(bus, nullptr),
                 "zolv_lnv_client_new: assertion failed: \\(manager != NULL\\)");
    EXPECT_DEATH(zolv_lnv_client_start(nullptr),
                 "zolv_lnv_client_start: assertion failed: \\(self != NULL\\)");
}

} // namespace
