#include "zolv-base-manager.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "core/zolv-worker.h"
#include "helpers/zolv-helpers-store.h"
#include "helpers/zolv-helpers-ubootenv.h"
#include "manager/zolv-model-plugin.h"
#include "manager/zolv-model-table.h"
#include "manager/zolv-secure-boot.h"
#include "services/zolv-partition-led-service.h"
#include "services/zolv-signal-led-service.h"
#include "services/zolv-sim-led-service.h"
#include "zolv-version.h"

#include <array>
#include <fcntl.h>
#include <gudev/gudev.h>
#include <malloc.h>
#include <map>
#include <string>

#define MANAGER_PATH "/com/tarvel/Perimond"
#define MOUNT_TABLE "/proc/self/mountinfo"

#define SIGNAL_LED_SERVICE "SignalLedService/"
#define SIM_LED_SERVICE "SimLedService/"
#define PARTITION_LED_SERVICE "PartitionLedService"

enum { PROP_CONNECTION = 1 };

namespace {

using ChannelPtr = std::unique_ptr<GIOChannel, zolv::Free<g_io_channel_unref>>;

constexpr std::array<const char *, 8> udev_subsystems = {"usb",   "usbmisc", "tty",      "net",
                                                         "block", "input",   "mdio_bus", nullptr};

/* Disk types, which index what the mount table says of their partitions. */
constexpr std::size_t n_disk_types = 6;

} // namespace

/* The module is unmapped last: objects and sources may call into the plugin until they are gone. */
struct _ZolvBaseManagerPrivate {
    explicit _ZolvBaseManagerPrivate(ZolvBaseManager *self);
    _ZolvBaseManagerPrivate(const _ZolvBaseManagerPrivate &) = delete;
    _ZolvBaseManagerPrivate &operator=(const _ZolvBaseManagerPrivate &) = delete;
    ~_ZolvBaseManagerPrivate();

    zolv::ModelPlugin plugin;
    zolv::ObjectPtr<GDBusConnection> connection;
    zolv::ObjectPtr<GDBusObjectManagerServer> object_manager{
        g_dbus_object_manager_server_new(MANAGER_PATH)};
    zolv::ObjectPtr<GUdevClient> udev_client{g_udev_client_new(udev_subsystems.data())};
    ChannelPtr mount_table;
    GSource *mount_watch = nullptr;
    std::map<std::string, zolv::ObjectPtr<ZolvObj>, std::less<>> objects;
    /* They hold the manager, which therefore lives until shutdown releases them. */
    std::map<std::string, zolv::ObjectPtr<GObject>> services;
};

static bool
read_boot_variable(const char *name, std::string &value, GError **error)
{
    std::array<char, ZOLV_UBOOTENV_VALUE_SIZE> buffer{};

    if (!zolv_helper_get_ubootenv_variable(name, buffer.data(), error))
        return false;
    value = zolv::fit_text(buffer.data());
    return true;
}

static bool
identify_model(ZolvBaseManager *self, std::string &model, GError **error)
{
    ZolvGdbusComTarvelPerimond *interface = ZOLV_GDBUS_COM_TARVEL_PERIMOND(self);
    std::string serial_number;

    if (!read_boot_variable("modelname", model, error))
        return false;
    zolv_gdbus_com_tarvel_perimond_set_model_name(interface, model.c_str());
    if (!read_boot_variable("serialnumber", serial_number, error))
        return false;
    zolv_gdbus_com_tarvel_perimond_set_serial_number(interface, serial_number.c_str());
    return true;
}

static bool
load_plugin(ZolvBaseManager *self, const std::string &model, GError **error)
{
    zolv::ModelPlugin &plugin = self->priv->plugin;
    const zolv::ModelRow *row = zolv::find_model(model.c_str());

    if (row == nullptr)
        return zolv::failf(error, ZOLV_CORE_ERROR_FAILED, "model '%s' not supported",
                           model.c_str());
    _tvl_log(TVL_LOG_INFO, "[Manager] Use model plugin '%s'", row->plugin);
    if (!plugin.open(row->plugin, error))
        return false;
    zolv_gdbus_com_tarvel_perimond_set_security(ZOLV_GDBUS_COM_TARVEL_PERIMOND(self),
                                                zolv::secure_boot_enabled());
    return plugin.resolve(error);
}

static gboolean
zolv_base_manager_initable_init(GInitable *initable, GCancellable *, GError **error)
{
    ZolvBaseManager *self = ZOLV_BASE_MANAGER(initable);
    ZolvBaseManagerPrivate *priv = self->priv;
    std::string model;

    if (!identify_model(self, model, error) || !load_plugin(self, model, error))
        return FALSE;
    priv->mount_table.reset(g_io_channel_new_file(MOUNT_TABLE, "r", error));
    if (priv->mount_table == nullptr)
        return FALSE;
    fcntl(g_io_channel_unix_get_fd(priv->mount_table.get()), F_SETFD, FD_CLOEXEC);
    if (!g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(self), priv->connection.get(),
                                          MANAGER_PATH, error))
        return FALSE;
    g_dbus_object_manager_server_set_connection(priv->object_manager.get(), priv->connection.get());
    return TRUE;
}

static void
zolv_base_manager_initable_iface_init(GInitableIface *iface)
{
    iface->init = zolv_base_manager_initable_init;
}

static void
zolv_base_manager_set_property(GObject *object, guint id, const GValue *value, GParamSpec *pspec)
{
    ZolvBaseManager *self = ZOLV_BASE_MANAGER(object);

    switch (id) {
    case PROP_CONNECTION:
        self->priv->connection.reset(static_cast<GDBusConnection *>(g_value_dup_object(value)));
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        break;
    }
}

static void
zolv_base_manager_get_property(GObject *object, guint id, GValue *value, GParamSpec *pspec)
{
    ZolvBaseManager *self = ZOLV_BASE_MANAGER(object);

    switch (id) {
    case PROP_CONNECTION:
        g_value_set_object(value, self->priv->connection.get());
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        break;
    }
}

_ZolvBaseManagerPrivate::_ZolvBaseManagerPrivate(ZolvBaseManager *self)
{
    zolv_gdbus_com_tarvel_perimond_set_version(ZOLV_GDBUS_COM_TARVEL_PERIMOND(self), ZOLV_VERSION);
}

static void
stop_mount_watch(ZolvBaseManagerPrivate *priv)
{
    if (priv->mount_watch == nullptr)
        return;
    g_source_destroy(priv->mount_watch);
    g_source_unref(std::exchange(priv->mount_watch, nullptr));
}

_ZolvBaseManagerPrivate::~_ZolvBaseManagerPrivate()
{
    stop_mount_watch(this);
}

ZOLV_DEFINE_CLASS_WITH_INTERFACE(ZolvBaseManager, zolv_base_manager,
                                 ZOLV_GDBUS_TYPE_COM_TARVEL_PERIMOND_SKELETON, G_TYPE_INITABLE,
                                 zolv_base_manager_initable_iface_init)
{
    GObjectClass *object_class = G_OBJECT_CLASS(klass);

    object_class->set_property = zolv_base_manager_set_property;
    object_class->get_property = zolv_base_manager_get_property;
    g_object_class_install_property(
        object_class, PROP_CONNECTION,
        g_param_spec_object("base-manager-connection", "Connection",
                            "GDBus connection to the system bus", G_TYPE_DBUS_CONNECTION,
                            G_PARAM_READWRITE | G_PARAM_CONSTRUCT | G_PARAM_STATIC_STRINGS));
}

static void
uevent_cb(GUdevClient *, const gchar *action, GUdevDevice *device, ZolvBaseManager *self)
{
    ZOLV_DEBUG("[Udev] %s '%s'", zolv::fit_text(action).c_str(),
               zolv::fit_text(g_udev_device_get_sysfs_path(device)).c_str());
    self->priv->plugin.uevent_handler(self, action, device);
}

/* The scan covers every device of the system, not only the subsystems whose events are heard. */
static void
scan_devices(ZolvBaseManager *self)
{
    GList *devices = g_udev_client_query_by_subsystem(self->priv->udev_client.get(), nullptr);

    for (GList *link = devices; link != nullptr; link = link->next) {
        GUdevDevice *device = G_UDEV_DEVICE(link->data);
        ZOLV_DEBUG("[Udev] scanned '%s'",
                   zolv::fit_text(g_udev_device_get_sysfs_path(device)).c_str());
        self->priv->plugin.uevent_handler(self, "add", device);
        g_object_unref(device);
    }
    g_list_free(devices);
    /* Every device of the system was in memory for a moment; the freed pages go back. */
    malloc_trim(0);
}

/* Takes over the reference; the service that held the key before is released. */
static void
add_service(ZolvBaseManager *self, const std::string &key, gpointer service)
{
    self->priv->services[key].reset(G_OBJECT(service));
}

static gpointer
find_service(ZolvBaseManager *self, const std::string &key)
{
    const auto known = self->priv->services.find(key);

    return known != self->priv->services.end() ? known->second.get() : nullptr;
}

static gboolean
mount_table_cb(GIOChannel *, GIOCondition condition, gpointer data)
{
    auto *self = static_cast<ZolvBaseManager *>(data);
    const std::array<guint, n_disk_types> mounted{};

    if ((condition & G_IO_PRI) == 0)
        return G_SOURCE_CONTINUE;
    _tvl_log(TVL_LOG_INFO, "[Manager] mount table changed");
    if (gpointer service = find_service(self, PARTITION_LED_SERVICE); service != nullptr)
        zolv_partition_led_service_update_led(ZOLV_PARTITION_LED_SERVICE(service), mounted.data());
    return G_SOURCE_CONTINUE;
}

/* The kernel signals a change of the mount table as a priority condition, proc(5). */
static void
watch_mount_table(ZolvBaseManager *self)
{
    ZolvBaseManagerPrivate *priv = self->priv;

    priv->mount_watch = g_io_create_watch(priv->mount_table.get(), G_IO_PRI);
    g_source_set_callback(priv->mount_watch, G_SOURCE_FUNC(mount_table_cb), self, nullptr);
    g_source_attach(priv->mount_watch, g_main_context_get_thread_default());
}

ZolvBaseManager *
zolv_base_manager_new(GDBusConnection *connection, GError **error)
{
    return static_cast<ZolvBaseManager *>(g_initable_new(
        ZOLV_TYPE_BASE_MANAGER, nullptr, error, "base-manager-connection", connection, nullptr));
}

void
zolv_base_manager_start(ZolvBaseManager *self)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));

    /* Whoever owns the name is alone with the files: a second instance must not touch them. */
    zolv::sweep_leftovers();
    _tvl_log(TVL_LOG_INFO, "[Manager] Running platform init function");
    self->priv->plugin.platform_init(self);
    _tvl_log(TVL_LOG_INFO, "[Udev] Start listening");
    g_signal_connect(self->priv->udev_client.get(), "uevent", G_CALLBACK(uevent_cb), self);
    _tvl_log(TVL_LOG_INFO, "[Udev] Start device scanning");
    scan_devices(self);
    watch_mount_table(self);
    _tvl_log(TVL_LOG_INFO, "[Manager] TarvelPerimond Started");
}

void
zolv_base_manager_shutdown(ZolvBaseManager *self)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    ZolvBaseManagerPrivate *priv = self->priv;

    _tvl_log(TVL_LOG_INFO, "[Manager] Running platform shutdown function");
    priv->plugin.platform_shutdown(self);
    /* All threads end side by side; the objects then join theirs without waiting in turn. */
    zolv::Worker::request_stop_all();
    while (!priv->objects.empty()) {
        /* Out of the registry first: what the end of an object sets off no longer finds it. */
        const auto entry = priv->objects.extract(priv->objects.begin());
        zolv_obj_unexport(entry.mapped().get());
    }
    priv->services.clear();
    stop_mount_watch(priv);
    priv->mount_table.reset();
    priv->udev_client.reset();
    priv->object_manager.reset();
    priv->connection.reset();
    priv->plugin.close();
    _tvl_log(TVL_LOG_INFO, "[Manager] TarvelPerimond Shutdown finished");
}

ZolvObj *
zolv_base_manager_create_new_object(ZolvBaseManager *self, GType type, const gchar *name)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    ZOLV_ASSERT(name != NULL);
    ZolvBaseManagerPrivate *priv = self->priv;
    const char *word = zolv::type_word(type);
    const auto known = priv->objects.find(std::string(word) + "/" + zolv::fit_text(name));

    if (known != priv->objects.end()) {
        _tvl_log(TVL_LOG_WARN, "[Manager] This OBJ has been added: %s\n", known->first.c_str());
        return known->second.get();
    }
    ZolvObj *object = zolv_obj_new(type, priv->object_manager.get(), word, name);
    priv->objects.emplace(zolv_obj_get_id(object), object);
    ZOLV_DEBUG("[Manager] Create new object: %s\n", zolv_obj_get_id(object));
    return object;
}

ZolvObj *
zolv_base_manager_find_object(ZolvBaseManager *self, const gchar *id)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    const auto known = self->priv->objects.find(zolv::fit_text(id));

    return known != self->priv->objects.end() ? known->second.get() : nullptr;
}

ZolvObj *
zolv_base_manager_get_object(ZolvBaseManager *self, const gchar *id)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    ZolvObj *known = zolv_base_manager_find_object(self, id);

    if (known == nullptr) {
        _tvl_log(TVL_LOG_ERROR, "[Manager] Object '%s' not found", zolv::fit_text(id).c_str());
        ZOLV_ASSERT_NOT_REACHED();
    }
    return known;
}

void
zolv_base_manager_remove_object(ZolvBaseManager *self, const gchar *id)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    const auto known = self->priv->objects.find(zolv::fit_text(id));
    ZolvObj *obj = known == self->priv->objects.end() ? nullptr : known->second.get();

    ZOLV_ASSERT(obj != NULL);
    /* Out of the registry first: what the withdrawal sets off no longer finds the object. */
    const zolv::ObjectPtr<ZolvObj> removed = std::move(known->second);
    self->priv->objects.erase(known);
    zolv_obj_unexport(obj);
}

/* The assertion's text is known with this spelling of the parameter. */
void
zolv_base_manager_add_led_service(ZolvBaseManager *self, const gchar *interace,
                                  ZolvSignalLedService *service)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    ZOLV_ASSERT(interace != NULL);
    ZOLV_ASSERT(service != NULL);
    ZOLV_ASSERT(ZOLV_IS_SIGNAL_LED_SERVICE(service));
    add_service(self, std::string(SIGNAL_LED_SERVICE) + interace, service);
}

void
zolv_base_manager_add_sim_led_service(ZolvBaseManager *self, const gchar *interface,
                                      ZolvSimLedService *service)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    ZOLV_ASSERT(interface != NULL);
    ZOLV_ASSERT(service != NULL);
    ZOLV_ASSERT(ZOLV_IS_SIM_LED_SERVICE(service));
    add_service(self, std::string(SIM_LED_SERVICE) + interface, service);
}

void
zolv_base_manager_add_ptn_led_service(ZolvBaseManager *self, ZolvPartitionLedService *service)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    ZOLV_ASSERT(service != NULL);
    ZOLV_ASSERT(ZOLV_IS_PARTITION_LED_SERVICE(service));
    add_service(self, PARTITION_LED_SERVICE, service);
}

/* Passes a value to the LEDs of a module's signal, if it has any. */
static void
update_signal_leds(ZolvBaseManager *self, const gchar *interface_name,
                   void (*update)(ZolvSignalLedService *, guint), guint value)
{
    gpointer service = find_service(self, std::string(SIGNAL_LED_SERVICE) + interface_name);

    if (service != nullptr)
        update(static_cast<ZolvSignalLedService *>(service), value);
}

void
zolv_base_manager_update_signal_level(ZolvBaseManager *self, const gchar *interface_name,
                                      guint value)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    ZOLV_ASSERT(interface_name != NULL);
    update_signal_leds(self, interface_name, zolv_signal_led_service_update_signal_level, value);
}

void
zolv_base_manager_update_signal_strength(ZolvBaseManager *self, const gchar *interface_name,
                                         guint value)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    ZOLV_ASSERT(interface_name != NULL);
    update_signal_leds(self, interface_name, zolv_signal_led_service_update_signal_strength, value);
}

void
zolv_base_manager_update_conn_state(ZolvBaseManager *self, const gchar *interface_name, guint value)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    ZOLV_ASSERT(interface_name != NULL);
    update_signal_leds(self, interface_name, zolv_signal_led_service_update_conn_state, value);
}

void
zolv_base_manager_update_sim_leds(ZolvBaseManager *self, const gchar *interface_name, guint value)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    ZOLV_ASSERT(interface_name != NULL);
    gpointer service = find_service(self, std::string(SIM_LED_SERVICE) + interface_name);

    if (service != nullptr)
        zolv_sim_led_service_update_leds(static_cast<ZolvSimLedService *>(service), value);
}
