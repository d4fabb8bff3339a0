#include "zolv-base-manager.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "core/zolv-raii.h"
#include "core/zolv-system-bus.h"
#include "core/zolv-text.h"
#include "core/zolv-worker.h"
#include "helpers/zolv-helpers-store.h"
#include "helpers/zolv-helpers-ubootenv.h"
#include "manager/zolv-device-events.h"
#include "manager/zolv-lnv-client.h"
#include "manager/zolv-model-plugin.h"
#include "manager/zolv-model-table.h"
#include "manager/zolv-mount-table.h"
#include "manager/zolv-secure-boot.h"
#include "peripherals/partition/zolv-partition-refresh.h"
#include "services/zolv-partition-led-service.h"
#include "services/zolv-signal-led-service.h"
#include "services/zolv-sim-led-service.h"
#include "zolv-version.h"

#include <array>
#include <map>
#include <optional>
#include <string>

enum { PROP_CONNECTION = 1 };

namespace {

constexpr char manager_path[] = "/com/tarvel/Perimond";

/* What the mount table says of the partitions of each disk type. */
using DiskStates = std::array<guint, 6>;

/* zolv_partition_is_mount(): of a type's partitions, one that is mounted outweighs the others. */
constexpr guint partition_without_disk = 0;
constexpr guint partition_mounted = 1;

/* By network interface. */
template <typename Service>
using ServiceMap = std::map<std::string, zolv::ObjectPtr<Service>, std::less<>>;

/* Null where the interface has none. */
template <typename Service>
Service *
find_service(const ServiceMap<Service> &services, const char *interface)
{
    const auto known = services.find(interface);

    return known != services.end() ? known->second.get() : nullptr;
}

bool
read_boot_variable(const char *name, std::string &value, GError **error)
{
    std::array<char, ZOLV_UBOOTENV_VALUE_SIZE> buffer{};

    if (!zolv_helper_get_ubootenv_variable(name, buffer.data(), error))
        return false;
    value = zolv::fit_text(buffer.data());
    return true;
}

} // namespace

/* The module is unmapped last: objects and sources may call into the plugin until they are gone. */
struct _ZolvBaseManagerPrivate {
    explicit _ZolvBaseManagerPrivate(ZolvBaseManager *self);

    zolv::ModelPlugin plugin;
    zolv::ObjectPtr<GDBusConnection> connection;
    zolv::ObjectPtr<GDBusObjectManagerServer> object_manager{
        g_dbus_object_manager_server_new(manager_path)};
    zolv::DeviceEvents device_events;
    zolv::MountTable mount_table;
    std::map<std::string, zolv::ObjectPtr<ZolvObj>, std::less<>> objects;
    /* They hold the manager, which therefore lives until shutdown releases them. */
    ServiceMap<ZolvSignalLedService> signal_led_services;
    ServiceMap<ZolvSimLedService> sim_led_services;
    zolv::ObjectPtr<ZolvPartitionLedService> partition_led_service;
    zolv::ObjectPtr<ZolvLnvClient> lnv_client; /* holds the manager, too */
};

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
    if (!priv->mount_table.open(error))
        return FALSE;
    if (!g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(self), priv->connection.get(),
                                          manager_path, error))
        return FALSE;
    g_dbus_object_manager_server_set_connection(priv->object_manager.get(), priv->connection.get());
    zolv::set_system_bus(priv->connection.get());
    priv->lnv_client.reset(zolv_lnv_client_new(priv->connection.get(), self));
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

/* Refreshes all partitions by one reading of the table, and sums up each type of disk. */
static DiskStates
refresh_partitions(ZolvBaseManager *self)
{
    std::optional<zolv::Mounts> mounts;
    DiskStates states{};
    bool is_read = false;

    for (const auto &[id, object] : self->priv->objects) {
        if (!ZOLV_IS_PARTITION(object.get()))
            continue;
        if (!mounts)
            is_read = mounts.emplace().read();
        ZolvPartition *partition = ZOLV_PARTITION(object.get());
        guint type = 0;
        zolv::refresh_partition(partition, is_read ? &*mounts : nullptr);
        const guint state = zolv_partition_is_mount(partition, &type);
        if (state != partition_without_disk && type < states.size() &&
            states[type] != partition_mounted)
            states[type] = state;
    }
    return states;
}

static void
mount_table_changed(ZolvBaseManager *self)
{
    const DiskStates mounted = refresh_partitions(self);

    if (self->priv->partition_led_service != nullptr)
        zolv_partition_led_service_update_led(self->priv->partition_led_service.get(),
                                              mounted.data());
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
    ZolvBaseManagerPrivate *priv = self->priv;

    /* Whoever owns the name is alone with the files: a second instance must not touch them. */
    zolv::sweep_leftovers();
    _tvl_log(TVL_LOG_INFO, "[Manager] Running platform init function");
    priv->plugin.platform_init(self);
    _tvl_log(TVL_LOG_INFO, "[Udev] Start listening");
    priv->device_events.listen([self](const char *action, GUdevDevice *device) {
        self->priv->plugin.uevent_handler(self, action, device);
    });
    _tvl_log(TVL_LOG_INFO, "[Udev] Start device scanning");
    priv->device_events.scan();
    zolv_lnv_client_start(priv->lnv_client.get());
    priv->mount_table.watch([self] { mount_table_changed(self); });
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
    priv->signal_led_services.clear();
    priv->sim_led_services.clear();
    priv->partition_led_service.reset();
    priv->mount_table.close();
    priv->device_events.close();
    priv->lnv_client.reset();
    priv->object_manager.reset();
    zolv::set_system_bus(nullptr);
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
    self->priv->signal_led_services[interace].reset(service);
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
    self->priv->sim_led_services[interface].reset(service);
}

void
zolv_base_manager_add_ptn_led_service(ZolvBaseManager *self, ZolvPartitionLedService *service)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(self));
    ZOLV_ASSERT(service != NULL);
    ZOLV_ASSERT(ZOLV_IS_PARTITION_LED_SERVICE(service));
    self->priv->partition_led_service.reset(service);
}

/* Passes a value to the LEDs of a module's signal, if it has any. */
static void
update_signal_leds(ZolvBaseManager *self, const gchar *interface_name,
                   void (*update)(ZolvSignalLedService *, guint), guint value)
{
    ZolvSignalLedService *service = find_service(self->priv->signal_led_services, interface_name);

    if (service != nullptr)
        update(service, value);
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
    ZolvSimLedService *service = find_service(self->priv->sim_led_services, interface_name);

    if (service != nullptr)
        zolv_sim_led_service_update_leds(service, value);
}
