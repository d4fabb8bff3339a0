#include "manager/zolv-lnv-client.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

enum { PROP_CONNECTION = 1, PROP_BASE_MANAGER };

namespace {

constexpr char service_name[] = "com.tarvel.Linkvane";
constexpr char service_path[] = "/com/tarvel/Linkvane";
/* A network interface's name follows. */
constexpr std::string_view interface_prefix = "/com/tarvel/Linkvane/Interface/";
constexpr guint retry_ms = 3000;

guint
unsigned_number(GVariant *value)
{
    return g_variant_get_uint32(value);
}

guint
signed_number(GVariant *value)
{
    return static_cast<guint>(g_variant_get_int32(value));
}

struct Followed {
    const char *property;
    const char *type; /* on the bus */
    guint (*number)(GVariant *value);
    void (*update)(ZolvBaseManager *manager, const gchar *interface_name, guint value);
};

constexpr std::array followed = {
    Followed{"SignalStrength", "u", unsigned_number, zolv_base_manager_update_signal_strength},
    Followed{"Signal", "u", unsigned_number, zolv_base_manager_update_signal_level},
    Followed{"ConnectionState", "i", signed_number, zolv_base_manager_update_conn_state},
    Followed{"SimActivated", "u", unsigned_number, zolv_base_manager_update_sim_leds},
};

/* Null for what nobody here wants to know. */
const Followed *
find_followed(const char *property)
{
    const auto *const row =
        std::find_if(followed.begin(), followed.end(), [property](const Followed &known) {
            return strcmp(known.property, property) == 0;
        });

    return row != followed.end() ? row : nullptr;
}

} // namespace

typedef struct _ZolvLnvClientPrivate ZolvLnvClientPrivate;

struct _ZolvLnvClient {
    GObject parent_instance;
    ZolvLnvClientPrivate *priv;
};

struct _ZolvLnvClientPrivate {
    explicit _ZolvLnvClientPrivate(ZolvLnvClient *self) : instance(self) {}
    _ZolvLnvClientPrivate(const _ZolvLnvClientPrivate &) = delete;
    _ZolvLnvClientPrivate &operator=(const _ZolvLnvClientPrivate &) = delete;
    ~_ZolvLnvClientPrivate()
    {
        g_cancellable_cancel(attempt.get());
        if (retry != 0)
            g_source_remove(retry);
        drop_service();
    }

    /* GIO may still hold it, and has things to tell of what was there. */
    void drop_service()
    {
        if (service != nullptr)
            g_signal_handlers_disconnect_by_data(service.get(), instance);
        service.reset();
    }

    ZolvLnvClient *instance;
    zolv::ObjectPtr<GDBusConnection> connection;
    zolv::ObjectPtr<ZolvBaseManager> manager;
    zolv::ObjectPtr<GCancellable> attempt{g_cancellable_new()};
    zolv::ObjectPtr<GDBusObjectManager> service; /* while connected */
    guint retry = 0;                             /* the timer's source while waiting */
};

static void
zolv_lnv_client_set_property(GObject *object, guint id, const GValue *value, GParamSpec *pspec)
{
    ZolvLnvClientPrivate *priv = ZOLV_LNV_CLIENT(object)->priv;

    switch (id) {
    case PROP_CONNECTION:
        priv->connection.reset(static_cast<GDBusConnection *>(g_value_dup_object(value)));
        break;
    case PROP_BASE_MANAGER:
        priv->manager.reset(static_cast<ZolvBaseManager *>(g_value_dup_object(value)));
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        break;
    }
}

ZOLV_DEFINE_CLASS(ZolvLnvClient, zolv_lnv_client, G_TYPE_OBJECT)
{
    constexpr GParamFlags construct_only =
        G_PARAM_WRITABLE | G_PARAM_CONSTRUCT_ONLY | G_PARAM_STATIC_STRINGS;
    GObjectClass *object_class = G_OBJECT_CLASS(klass);

    object_class->set_property = zolv_lnv_client_set_property;
    g_object_class_install_property(object_class, PROP_CONNECTION,
                                    g_param_spec_object("zolv-lnv-client-connection", "Connection",
                                                        "GDBus connection to the system bus.",
                                                        G_TYPE_DBUS_CONNECTION, construct_only));
    g_object_class_install_property(object_class, PROP_BASE_MANAGER,
                                    g_param_spec_object("zolv-lnv-client-base-manager",
                                                        "Base Manager", "The BaseManager object.",
                                                        ZOLV_TYPE_BASE_MANAGER, construct_only));
}

static void
follow(ZolvLnvClient *self, const char *path, const char *property, GVariant *value)
{
    const Followed *row = find_followed(property);

    if (row == nullptr)
        return;
    if (!g_variant_is_of_type(value, G_VARIANT_TYPE(row->type))) {
        ZOLV_DEBUG("[LNV Client] Property '%s' of '%s' has type '%s', not '%s': skipped", property,
                   path, g_variant_get_type_string(value), row->type);
        return;
    }
    row->update(self->priv->manager.get(), path + interface_prefix.size(), row->number(value));
}

static void
properties_changed(GDBusObjectManagerClient *, GDBusObjectProxy *object, GDBusProxy *,
                   GVariant *changed, const gchar *const *, ZolvLnvClient *self)
{
    const char *path = g_dbus_object_get_object_path(G_DBUS_OBJECT(object));
    const char *property = nullptr;
    GVariant *value = nullptr;
    GVariantIter entries;

    if (!std::string_view(path).starts_with(interface_prefix))
        return;
    ZOLV_DEBUG("[LNV Client] Properties changed on '%s':", path);
    g_variant_iter_init(&entries, changed);
    while (g_variant_iter_loop(&entries, "{&sv}", &property, &value))
        follow(self, path, property, value);
}

/* Round and round: what comes of an attempt may be the next one. */
static void try_connecting(ZolvLnvClient *self);

static gboolean
retry_cb(gpointer self)
{
    ZOLV_LNV_CLIENT(self)->priv->retry = 0;
    try_connecting(ZOLV_LNV_CLIENT(self));
    return G_SOURCE_REMOVE;
}

static void
try_later(ZolvLnvClient *self)
{
    self->priv->retry = g_timeout_add(retry_ms, retry_cb, self);
}

static bool
has_owner(GDBusObjectManager *service)
{
    const zolv::CharPtr owner(
        g_dbus_object_manager_client_get_name_owner(G_DBUS_OBJECT_MANAGER_CLIENT(service)));

    return owner != nullptr;
}

static void
name_owner_changed(GDBusObjectManager *service, GParamSpec *, ZolvLnvClient *self)
{
    if (has_owner(service))
        return;
    _tvl_log(TVL_LOG_INFO, "[LNV Client] Disconnected");
    self->priv->drop_service();
    try_later(self);
}

static void
connected_cb(GObject *, GAsyncResult *result, gpointer user_data)
{
    g_autoptr(GError) error = nullptr;
    zolv::ObjectPtr<GDBusObjectManager> service(
        g_dbus_object_manager_client_new_finish(result, &error));

    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED))
        return; /* the client is gone */
    ZolvLnvClient *self = ZOLV_LNV_CLIENT(user_data);
    if (service == nullptr) {
        _tvl_log(TVL_LOG_WARN, "[LNV Client] Connect failed: %s",
                 zolv::fit_text(error->message).c_str());
        try_later(self);
        return;
    }
    if (!has_owner(service.get())) {
        ZOLV_DEBUG("[LNV Client] Failed to get name owner, try later");
        try_later(self);
        return;
    }
    _tvl_log(TVL_LOG_INFO, "[LNV Client] Connected");
    g_signal_connect(service.get(), "notify::name-owner", G_CALLBACK(name_owner_changed), self);
    g_signal_connect(service.get(), "interface-proxy-properties-changed",
                     G_CALLBACK(properties_changed), self);
    self->priv->service = std::move(service);
}

static void
try_connecting(ZolvLnvClient *self)
{
    ZOLV_DEBUG("[LNV Client] Try connecting");
    g_dbus_object_manager_client_new(self->priv->connection.get(),
                                     G_DBUS_OBJECT_MANAGER_CLIENT_FLAGS_DO_NOT_AUTO_START,
                                     service_name, service_path, nullptr, nullptr, nullptr,
                                     self->priv->attempt.get(), connected_cb, self);
}

ZolvLnvClient *
zolv_lnv_client_new(GDBusConnection *connection, ZolvBaseManager *manager)
{
    ZOLV_ASSERT(connection != NULL);
    ZOLV_ASSERT(G_IS_DBUS_CONNECTION(connection));
    ZOLV_ASSERT(manager != NULL);
    ZOLV_ASSERT(ZOLV_IS_BASE_MANAGER(manager));
    return ZOLV_LNV_CLIENT(g_object_new(ZOLV_TYPE_LNV_CLIENT, "zolv-lnv-client-connection",
                                        connection, "zolv-lnv-client-base-manager", manager,
                                        nullptr));
}

void
zolv_lnv_client_start(ZolvLnvClient *self)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_LNV_CLIENT(self));
    try_connecting(self);
    _tvl_log(TVL_LOG_INFO, "[LNV Client] Started");
}
