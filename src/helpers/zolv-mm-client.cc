#include "helpers/zolv-mm-client.h"

#include "core/zolv-assert.h"
#include "core/zolv-fail.h"
#include "core/zolv-library.h"
#include "core/zolv-raii.h"
#include "core/zolv-system-bus.h"
#include "core/zolv-text.h"
#include "tvl-log.h"

#include <libmm-glib.h>
#include <memory>
#include <mutex>
#include <string>

namespace {

/* What is used of libmm-glib, each function once. */
#define MM_FUNCTIONS(F)                                                                            \
    F(mm_manager_new_sync)                                                                         \
    F(mm_modem_command_sync)                                                                       \
    F(mm_modem_get_device)                                                                         \
    F(mm_modem_get_power_state)                                                                    \
    F(mm_object_peek_modem)

/* A computer without modems never needs the library. */
struct Library {
#define MEMBER(function) decltype(&::function) function = nullptr;
    MM_FUNCTIONS(MEMBER)
#undef MEMBER

    /* What cannot be loaded is tried again by the next call. */
    static const Library *get(GError **error);
};

const Library *
Library::get(GError **error)
{
#define ENTRY(function) {#function, reinterpret_cast<gpointer *>(&table.function)},
    static Library table;
    static const zolv::LibraryFunction functions[] = {MM_FUNCTIONS(ENTRY)};
    static std::mutex mutex;
    static bool loaded = false;
#undef ENTRY

    const std::lock_guard lock(mutex);
    if (!loaded)
        loaded = zolv::load_library("libmm-glib.so.0", functions, error);
    return loaded ? &table : nullptr;
}

/* Where the signals for the objects of one call go: they are of no use, and those of a thread
 * without a context would go to the main loop, which may run at the same time. */
class PrivateContext {
  public:
    PrivateContext() { g_main_context_push_thread_default(context_.get()); }
    PrivateContext(const PrivateContext &) = delete;
    PrivateContext &operator=(const PrivateContext &) = delete;
    ~PrivateContext()
    {
        /* GDBus releases here what belonged to the objects. */
        while (g_main_context_iteration(context_.get(), FALSE))
            ;
        g_main_context_pop_thread_default(context_.get());
    }

  private:
    std::unique_ptr<GMainContext, zolv::Free<g_main_context_unref>> context_{g_main_context_new()};
};

/* A client of ModemManager as it is at this instant. */
class Client {
  public:
    /* False with @error set, and logged, where ModemManager cannot be asked. */
    bool connect(GError **error);
    /* (transfer none): lives as long as the client. */
    MMModem *find(const char *device_path, GError **error);
    const Library &library() const { return *library_; }

  private:
    bool make_manager(GError **error);

    struct FreeObjects {
        void operator()(GList *objects) const { g_list_free_full(objects, g_object_unref); }
    };

    const Library *library_ = nullptr;
    PrivateContext context_;
    zolv::ObjectPtr<GDBusConnection> bus_;
    zolv::ObjectPtr<MMManager> manager_;
    std::unique_ptr<GList, FreeObjects> objects_;
};

bool
Client::make_manager(GError **error)
{
    library_ = Library::get(error);
    if (library_ == nullptr)
        return false;
    manager_.reset(library_->mm_manager_new_sync(
        bus_.get(), G_DBUS_OBJECT_MANAGER_CLIENT_FLAGS_NONE, nullptr, error));
    if (!manager_)
        return false;
    const zolv::CharPtr owner(
        g_dbus_object_manager_client_get_name_owner(G_DBUS_OBJECT_MANAGER_CLIENT(manager_.get())));
    if (!owner) {
        g_set_error_literal(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER,
                            "couldn't find the mm manager process in the bus");
        return false;
    }
    return true;
}

bool
Client::connect(GError **error)
{
    GError *reason = nullptr;
    const char *missing = nullptr;

    bus_.reset(zolv::get_system_bus(&reason));
    if (!bus_)
        missing = "system bus";
    else if (!make_manager(&reason))
        missing = "manager";
    if (missing == nullptr)
        return true;
    _tvl_log(TVL_LOG_ERROR, "[MMClient] Failed to get %s: %s", missing,
             zolv::fit_text(reason->message).c_str());
    g_propagate_error(error, reason);
    return false;
}

MMModem *
Client::find(const char *device_path, GError **error)
{
    MMModem *found = nullptr;

    objects_.reset(g_dbus_object_manager_get_objects(G_DBUS_OBJECT_MANAGER(manager_.get())));
    for (GList *entry = objects_.get(); entry != nullptr; entry = entry->next) {
        MMModem *modem = library_->mm_object_peek_modem(static_cast<MMObject *>(entry->data));
        if (modem != nullptr && device_path != nullptr &&
            g_strcmp0(library_->mm_modem_get_device(modem), device_path) == 0)
            found = modem;
    }
    if (found == nullptr)
        zolv::fail(error, ZOLV_CORE_ERROR_FAILED, "[MMClient] Failed to get modem");
    return found;
}

/* Most who install ModemManager do not know that it needs leave for this. */
bool
is_refusal(const GError *error)
{
    const zolv::CharPtr name(g_dbus_error_get_remote_error(error));

    return g_strcmp0(name.get(), "org.freedesktop.ModemManager1.Error.Core.Unauthorized") == 0;
}

} // namespace

gboolean
zolv_mm_client_exec_at_cmd(const char *device_path, const char *command, guint timeout_s,
                           GError **error)
{
    ZOLV_ASSERT(command != NULL);
    g_autoptr(GError) reason = nullptr;
    Client client;

    if (!client.connect(error))
        return FALSE;
    MMModem *modem = client.find(device_path, error);
    if (modem == nullptr)
        return FALSE;
    const zolv::CharPtr reply(
        client.library().mm_modem_command_sync(modem, command, timeout_s, nullptr, &reason));
    if (!reply) {
        if (is_refusal(reason))
            _tvl_log(TVL_LOG_WARN,
                     "[MMClient] ModemManager does not allow AT commands: it must run "
                     "with --debug, or be built to allow them always");
        return zolv::fail(error, ZOLV_CORE_ERROR_FAILED, "[MMClient] Failed to execute AT command");
    }
    std::string result = zolv::fit_text(reply.get());
    zolv::cut_text(result);
    _tvl_log(TVL_LOG_INFO, "[MMClient] AT command result: %s", result.c_str());
    return TRUE;
}

gboolean
zolv_mm_client_modem_is_ready(const char *device_path, GError **error)
{
    Client client;

    if (!client.connect(error))
        return FALSE;
    MMModem *modem = client.find(device_path, error);
    if (modem == nullptr)
        return FALSE;
    return client.library().mm_modem_get_power_state(modem) >= MM_MODEM_POWER_STATE_LOW ||
           zolv::fail(error, ZOLV_CORE_ERROR_FAILED, "[MMClient] Modem power state is not ready");
}
