#include "peripherals/ethernet/zolv-ethernet.h"

#include "core/zolv-assert.h"
#include "core/zolv-bus-call.h"
#include "core/zolv-class.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "peripherals/zolv-io-state.h"

#include <memory>

namespace {

constexpr guint polling_interval_ms = 500;

using MainLoopPtr = std::unique_ptr<GMainLoop, zolv::Free<g_main_loop_unref>>;
using SourcePtr = std::unique_ptr<GSource, zolv::Free<g_source_unref>>;
using DevicePtr = zolv::ObjectPtr<GUdevDevice>;

/* To ask for a device one need not listen to events. */
DevicePtr
device_at(const char *sysfs_path)
{
    const zolv::ObjectPtr<GUdevClient> client(g_udev_client_new(nullptr));

    return DevicePtr(g_udev_client_query_by_sysfs_path(client.get(), sysfs_path));
}

bool
path_exists(const char *path)
{
    return g_file_test(path, G_FILE_TEST_EXISTS);
}

} // namespace

struct _ZolvEthernetPrivate {
    explicit _ZolvEthernetPrivate(ZolvEthernet *self);

    zolv::ObjectPtr<ZolvGdbusObjEthernet> skeleton{zolv_gdbus_obj_ethernet_skeleton_new()};
    zolv::IoState io_state;
};

static gboolean
handle_set_iostate(ZolvGdbusObjEthernet *skeleton, GDBusMethodInvocation *invocation, guint iostate,
                   ZolvEthernet *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "SetIOState()");

    if (self->priv->io_state.set(call, iostate))
        zolv_gdbus_obj_ethernet_complete_set_iostate(
            skeleton, call.ok(", io_state=%d", static_cast<int>(iostate)));
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

_ZolvEthernetPrivate::_ZolvEthernetPrivate(ZolvEthernet *self)
    : io_state(ZOLV_OBJ(self), skeleton.get(), {.refused_level = TVL_LOG_DEBUG})
{
    zolv_gdbus_object_skeleton_set_obj_ethernet(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
    zolv::connect_handlers(skeleton.get(), ZOLV_OBJ(self),
                           {{"handle-set-iostate", G_CALLBACK(handle_set_iostate)}});
}

ZOLV_DEFINE_CLASS(ZolvEthernet, zolv_ethernet, ZOLV_TYPE_OBJ)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Ethernet");
}

ZOLV_DEFINE_IO_STATE_API(ethernet, ZolvEthernet);

/* Null clears the name. */
static void
set_device_name(ZolvEthernet *self, const char *name)
{
    zolv_gdbus_obj_ethernet_set_device_name(
        self->priv->skeleton.get(), name != nullptr ? zolv::fit_text(name).c_str() : nullptr);
}

static const char *
interface_of(GUdevDevice *device)
{
    const char *interface = g_udev_device_get_property(device, "INTERFACE");

    ZOLV_ASSERT(interface != NULL);
    return interface;
}

void
zolv_ethernet_define_device_name(ZolvEthernet *self, const char *name)
{
    set_device_name(self, name);
    zolv_obj_export(ZOLV_OBJ(self));
}

void
zolv_ethernet_define_device_name_by_udev(ZolvEthernet *self, GUdevDevice *udev_device)
{
    set_device_name(self, udev_device != nullptr ? interface_of(udev_device) : nullptr);
}

/* Null where the PHY is attached to nothing that has an interface. The link may lead anywhere. */
static DevicePtr
attached_net_device(ZolvEthernet *self, GUdevDevice *mdio_device)
{
    const zolv::CharPtr path(
        g_strconcat(g_udev_device_get_sysfs_path(mdio_device), "/attached_dev", nullptr));

    if (!path_exists(path.get())) {
        ZOLV_OBJ_DEBUG(ZOLV_OBJ(self), "the mdio_bus device isn't attached");
        return nullptr;
    }
    DevicePtr attached = device_at(path.get());
    if (!attached || g_strcmp0(g_udev_device_get_subsystem(attached.get()), "net") != 0) {
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_ERROR,
                     "attached device is not in udev 'net' subsystem query list");
        return nullptr;
    }
    ZOLV_OBJ_DEBUG(ZOLV_OBJ(self), "mdio bus device is attached to %s",
                   zolv::fit_text(interface_of(attached.get())).c_str());
    return attached;
}

void
zolv_ethernet_define_device_name_by_udev_mdio_bus_device(ZolvEthernet *self,
                                                         GUdevDevice *mdio_device)
{
    const DevicePtr attached =
        mdio_device != nullptr ? attached_net_device(self, mdio_device) : nullptr;

    zolv_ethernet_define_device_name_by_udev(self, attached.get());
}

gboolean
zolv_ethernet_check_net_dev_attached(ZolvEthernetPolling *polling)
{
    if (!path_exists(polling->attached_path))
        return G_SOURCE_CONTINUE;
    zolv_ethernet_define_device_name_by_udev_mdio_bus_device(
        polling->ethernet, device_at(polling->mdio_device_path).get());
    return G_SOURCE_REMOVE;
}

/* The loop runs on the default context, which the main thread owns: the source is dispatched there,
 * and here the thread waits for a context that it never gets. */
gpointer
zolv_ethernet_thread_net_dev_polling(gpointer polling)
{
    const MainLoopPtr loop(g_main_loop_new(nullptr, FALSE));
    const SourcePtr source(g_timeout_source_new(polling_interval_ms));

    g_source_set_callback(
        source.get(),
        [](gpointer data) {
            return zolv_ethernet_check_net_dev_attached(static_cast<ZolvEthernetPolling *>(data));
        },
        polling, nullptr);
    g_source_attach(source.get(), nullptr);
    g_main_loop_run(loop.get());
    g_source_destroy(source.get());
    return nullptr;
}

void
zolv_ethernet_poll_net_dev_attached_thread(ZolvEthernetPolling *polling)
{
    g_autoptr(GError) error = nullptr;
    GThread *thread =
        g_thread_try_new("Poll_Thread", zolv_ethernet_thread_net_dev_polling, polling, &error);

    if (thread == nullptr)
        zolv_obj_log(ZOLV_OBJ(polling->ethernet), TVL_LOG_ERROR, "Thread not started: %s",
                     error->message);
    else
        g_thread_unref(thread);
}
