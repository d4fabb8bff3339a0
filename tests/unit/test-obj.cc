#include "zolv-obj.h"

#include "core/zolv-raii.h"
#include "peripherals/led/zolv-led.h"
#include "tvl-log.h"
#include "zolv-error.h"

#include <gtest/gtest.h>
#include <string>

namespace {

/* No test of the lines: there is no sink for them. */
[[maybe_unused]] const int quiet = tvl_log_set_level("ERR");

using Server = zolv::ObjectPtr<GDBusObjectManagerServer>;

zolv::ObjectPtr<ZolvObj>
new_obj()
{
    return zolv::ObjectPtr<ZolvObj>(ZOLV_OBJ(g_object_new(ZOLV_TYPE_OBJ, nullptr)));
}

Server
new_server()
{
    return Server(g_dbus_object_manager_server_new("/com/tarvel/Perimond"));
}

std::string
path_of(ZolvObj *obj)
{
    return g_dbus_object_get_object_path(G_DBUS_OBJECT(obj));
}

std::string
text_property(ZolvObj *obj, const char *property)
{
    g_autofree char *text = nullptr;

    g_object_get(obj, property, &text, nullptr);
    return text != nullptr ? text : "(null)";
}

TEST(Obj, BeginsWithoutNameTypeSysfsPathAndId)
{
    const auto obj = new_obj();

    EXPECT_EQ(zolv_obj_get_name(obj.get()), nullptr);
    EXPECT_EQ(zolv_obj_get_peripheral_type(obj.get()), nullptr);
    EXPECT_EQ(zolv_obj_get_sysfs_path(obj.get()), nullptr);
    EXPECT_EQ(zolv_obj_get_id(obj.get()), nullptr);
    EXPECT_FALSE(zolv_obj_is_exported(obj.get()));
}

TEST(Obj, HasTheSameIdAndPathWhicheverPropertyIsSetFirst)
{
    const auto name_first = new_obj();
    const auto type_first = new_obj();

    g_object_set(name_first.get(), "zolv-obj-name", "LED1", nullptr);
    EXPECT_EQ(zolv_obj_get_id(name_first.get()), nullptr);
    g_object_set(name_first.get(), "zolv-obj-peripheral-type", "LED", nullptr);
    g_object_set(type_first.get(), "zolv-obj-peripheral-type", "LED", nullptr);
    EXPECT_EQ(zolv_obj_get_id(type_first.get()), nullptr);
    g_object_set(type_first.get(), "zolv-obj-name", "LED1", nullptr);
    for (ZolvObj *obj : {name_first.get(), type_first.get()}) {
        EXPECT_STREQ(zolv_obj_get_id(obj), "LED/LED1");
        EXPECT_EQ(path_of(obj), "/com/tarvel/Perimond/LED/LED1");
    }
}

TEST(Obj, FormsIdAndPathAnewWhenAPropertyIsSetAgain)
{
    const auto obj = new_obj();

    g_object_set(obj.get(), "zolv-obj-name", "A", "zolv-obj-peripheral-type", "LED", nullptr);
    g_object_set(obj.get(), "zolv-obj-name", "B", nullptr);
    EXPECT_STREQ(zolv_obj_get_id(obj.get()), "LED/B");
    g_object_set(obj.get(), "zolv-obj-peripheral-type", "DIO", nullptr);
    EXPECT_STREQ(zolv_obj_get_id(obj.get()), "DIO/B");
    EXPECT_EQ(path_of(obj.get()), "/com/tarvel/Perimond/DIO/B");
}

TEST(Obj, ReadsItsPropertiesAsTheBusShowsThem)
{
    const auto obj = new_obj();

    g_object_set(obj.get(), "zolv-obj-name", "A\xff", "zolv-obj-peripheral-type", "LED", nullptr);
    EXPECT_EQ(text_property(obj.get(), "zolv-obj-name"), "A\xef\xbf\xbd");
    EXPECT_EQ(text_property(obj.get(), "zolv-obj-peripheral-type"), "LED");
}

TEST(Obj, DescribesItsProperties)
{
    auto *klass = static_cast<GObjectClass *>(g_type_class_ref(ZOLV_TYPE_OBJ));
    GParamSpec *name = g_object_class_find_property(klass, "zolv-obj-name");
    GParamSpec *type = g_object_class_find_property(klass, "zolv-obj-peripheral-type");

    EXPECT_STREQ(g_param_spec_get_nick(name), "Name");
    EXPECT_STREQ(g_param_spec_get_blurb(name), "The name of the object");
    EXPECT_STREQ(g_param_spec_get_nick(type), "Peripheral Type");
    EXPECT_STREQ(g_param_spec_get_blurb(type), "The peripheral type of the object");
    for (const GParamSpec *property : {name, type})
        EXPECT_EQ(property->flags & G_PARAM_READWRITE, G_PARAM_READWRITE);
    g_type_class_unref(klass);
}

TEST(Obj, HoldsTheServerItIsExportedOn)
{
    Server server = new_server();
    GDBusObjectManagerServer *watched = server.get();
    zolv::ObjectPtr<ZolvObj> obj(zolv_obj_new(ZOLV_TYPE_OBJ, server.get(), "LED", "LED1"));

    g_object_add_weak_pointer(G_OBJECT(watched), reinterpret_cast<gpointer *>(&watched));
    server.reset();
    EXPECT_NE(watched, nullptr);
    obj.reset();
    EXPECT_EQ(watched, nullptr);
}

TEST(Obj, IsExportedAndWithdrawnOnce)
{
    const Server server = new_server();
    const zolv::ObjectPtr<ZolvObj> obj(zolv_obj_new(ZOLV_TYPE_OBJ, server.get(), "LED", "LED1"));

    zolv_obj_unexport(obj.get());
    for (const bool exported : {true, true, false, false, true}) {
        exported ? zolv_obj_export(obj.get()) : zolv_obj_unexport(obj.get());
        EXPECT_EQ(zolv_obj_is_exported(obj.get()), exported);
        EXPECT_EQ(g_dbus_object_manager_server_is_exported(server.get(),
                                                           G_DBUS_OBJECT_SKELETON(obj.get())),
                  exported);
    }
}

TEST(Obj, LeavesTheBusAlsoUnderANewName)
{
    const Server server = new_server();
    const zolv::ObjectPtr<ZolvObj> obj(zolv_obj_new(ZOLV_TYPE_OBJ, server.get(), "LED", "OLD"));

    zolv_obj_export(obj.get());
    g_object_set(obj.get(), "zolv-obj-name", "NEW", nullptr);
    zolv_obj_unexport(obj.get());
    EXPECT_FALSE(zolv_obj_is_exported(obj.get()));
    EXPECT_EQ(g_dbus_object_manager_get_object(G_DBUS_OBJECT_MANAGER(server.get()),
                                               "/com/tarvel/Perimond/LED/OLD"),
              nullptr);
}

TEST(Obj, KeepsNoSysfsPathWhenNoneIsGiven)
{
    const auto obj = new_obj();

    zolv_obj_define_sysfs_path(obj.get(), "/sys/devices/a");
    zolv_obj_define_sysfs_path(obj.get(), nullptr);
    EXPECT_EQ(zolv_obj_get_sysfs_path(obj.get()), nullptr);
}

TEST(LedWithoutALabel, IsNotReady)
{
    const Server server = new_server();
    const zolv::ObjectPtr<ZolvObj> obj(zolv_obj_new(ZOLV_TYPE_LED, server.get(), "LED", "A"));
    ZolvLED *led = ZOLV_LED(obj.get());
    guint state = 7;

    zolv_led_define_label(led, nullptr);
    EXPECT_EQ(zolv_led_get_label(led), nullptr);
    g_autoptr(GError) error = nullptr;
    EXPECT_FALSE(zolv_led_get_state(led, &state, &error));
    EXPECT_TRUE(g_error_matches(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_PERIPH_NOT_READY));
    EXPECT_STREQ(error->message, "LED label is not set");
    EXPECT_EQ(state, 7U);
}

TEST(ObjDeath, NeedsAServer)
{
    EXPECT_DEATH(zolv_obj_new(ZOLV_TYPE_OBJ, nullptr, "LED", "LED1"),
                 ":zolv_obj_new: assertion failed: \\(object_manager != NULL\\)");
}

TEST(ObjDeath, IsNotExportedWithoutAServer)
{
    const auto obj = new_obj();

    g_object_set(obj.get(), "zolv-obj-name", "A", "zolv-obj-peripheral-type", "LED", nullptr);
    EXPECT_DEATH(zolv_obj_export(obj.get()),
                 ":export_obj: assertion failed: \\(self->priv->object_manager != NULL\\)");
}

TEST(ObjDeath, IsNothingElse)
{
    const Server server = new_server();

    EXPECT_DEATH(zolv_obj_export(reinterpret_cast<ZolvObj *>(server.get())),
                 ":zolv_obj_export: assertion failed: \\(ZOLV_IS_OBJ\\(self\\)\\)");
}

} // namespace
