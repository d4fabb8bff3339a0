#include "zolv-gdbus-object.h"
#include "zolv-gdbus.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

std::set<std::string>
interface_slots(GType type)
{
    auto *object_class = static_cast<GObjectClass *>(g_type_class_ref(type));
    guint count = 0;
    g_autofree GParamSpec **list = g_object_class_list_properties(object_class, &count);
    std::set<std::string> names;

    for (guint i = 0; i < count; i++)
        if (g_str_has_prefix(list[i]->name, "obj"))
            names.insert(list[i]->name);
    g_type_class_unref(object_class);
    return names;
}

std::set<std::string>
own_signals(GType interface)
{
    gpointer vtable = g_type_default_interface_ref(interface);
    guint count = 0;
    g_autofree guint *ids = g_signal_list_ids(interface, &count);
    std::set<std::string> names;

    for (guint i = 0; i < count; i++)
        names.insert(g_signal_name(ids[i]));
    g_type_default_interface_unref(vtable);
    return names;
}

TEST(Glue, GivesTheObjectTypeASlotForEachInterface)
{
    const std::set<std::string> slots = {
        "obj",           "obj-button",      "obj-buzzer", "obj-can",      "obj-cellular",
        "obj-console",   "obj-dio",         "obj-disk",   "obj-ethernet", "obj-led",
        "obj-partition", "obj-serial-port", "obj-socket", "obj-wi-fi",
    };

    EXPECT_EQ(interface_slots(ZOLV_GDBUS_TYPE_OBJECT_SKELETON), slots);
}

TEST(Glue, MakesASignalOfEachMethodCall)
{
    const std::set<std::string> can = {"handle-get-bitrate", "handle-get-terminator",
                                       "handle-set-iostate", "handle-set-terminator"};
    const std::set<std::string> partition = {"handle-mount", "handle-unmount", "handle-get-uuid",
                                             "handle-initialize-luks", "handle-remap-luks"};

    EXPECT_EQ(own_signals(ZOLV_GDBUS_TYPE_OBJ_CAN), can);
    EXPECT_EQ(own_signals(ZOLV_GDBUS_TYPE_OBJ_PARTITION), partition);
}

TEST(Glue, SpellsBusSignalsAsOnTheBus)
{
    EXPECT_EQ(own_signals(ZOLV_GDBUS_TYPE_OBJ_DISK),
              (std::set<std::string>{"handle-set-auto-mount", "handle-set-iostate", "hot-plug"}));
    EXPECT_STREQ(zolv_gdbus_obj_disk_interface_info()->signals[0]->name, "hotPlug");
    EXPECT_STREQ(zolv_gdbus_obj_button_interface_info()->signals[0]->name, "actionChanged");
    EXPECT_STREQ(zolv_gdbus_obj_dio_interface_info()->signals[0]->name, "StateChanged");
}

TEST(Glue, MakesTheManagerASkeletonWithoutMethods)
{
    EXPECT_STREQ(g_type_name(ZOLV_GDBUS_TYPE_COM_TARVEL_PERIMOND_SKELETON),
                 "ZolvGdbusComTarvelPerimondSkeleton");
    EXPECT_EQ(zolv_gdbus_com_tarvel_perimond_interface_info()->methods, nullptr);
}

} // namespace
