#include "core/zolv-assert.h"
#include "core/zolv-raii.h"
#include "core/zolv-stop.h"
#include "core/zolv-terminate.h"
#include "core/zolv-text.h"
#include "guard/zolv-guarded-bus.h"
#include "tvl-log.h"
#include "zolv-base-manager.h"

#include <csignal>
#include <cstdlib>
#include <malloc.h>
#include <utility>

namespace {

/* Bytes, see mallopt(3) */
constexpr int returned_block = 64 * 1024;

constexpr char bus_name[] = "com.tarvel.Perimond";

GMainLoop *loop;
ZolvBaseManager *manager;
guint owner_id;

void
bus_acquired_cb(GDBusConnection *connection)
{
    g_autoptr(GError) error = nullptr;

    _tvl_log(TVL_LOG_INFO, "[Manager] Acquired system bus");
    ZOLV_ASSERT(!manager);
    manager = zolv_base_manager_new(connection, &error);
    if (manager == nullptr) {
        _tvl_log(TVL_LOG_ERROR, "[Manager] Failed to create manager: %s",
                 zolv::fit_text(error->message).c_str());
        g_main_loop_quit(loop);
    }
}

void
name_acquired_cb(GDBusConnection *, const gchar *name, gpointer)
{
    _tvl_log(TVL_LOG_INFO, "[Manager] Acquired service name '%s'", name);
    ZOLV_ASSERT(manager);
    zolv_base_manager_start(manager);
}

void
name_lost_cb(GDBusConnection *connection, const gchar *name, gpointer)
{
    if (connection == nullptr)
        _tvl_log(TVL_LOG_ERROR, "[Manager] Failed to get the system bus. Make sure the message bus "
                                "daemon is running!");
    else
        _tvl_log(TVL_LOG_ERROR, "[Manager] Failed to acquire the '%s' service name", name);
    g_main_loop_quit(loop);
}

void
bus_connected_cb(GObject *, GAsyncResult *result, gpointer)
{
    const zolv::ObjectPtr<GDBusConnection> connection(
        zolv::connect_guarded_bus_finish(result, nullptr));

    if (!connection) {
        name_lost_cb(nullptr, bus_name, nullptr);
        return;
    }
    bus_acquired_cb(connection.get());
    owner_id = g_bus_own_name_on_connection(connection.get(), bus_name, G_BUS_NAME_OWNER_FLAGS_NONE,
                                            name_acquired_cb, name_lost_cb, nullptr, nullptr);
}

gboolean
quit_cb(gpointer)
{
    g_main_loop_quit(loop);
    return G_SOURCE_REMOVE;
}

void
termination_cb()
{
    _tvl_log(TVL_LOG_INFO, "[Manager] Caught signal, Start to shutdown process");
    if (loop == nullptr)
        exit(EXIT_SUCCESS);
    /* Not from within a running handler. */
    g_idle_add(quit_cb, nullptr);
}

/* The threads free what others of them have allocated, so a heap for each is soon full of gaps:
 * under mixed load they grow half as much again as one for all does. Fixed limits, because glibc
 * raises them for good once a large message has come and gone. */
void
keep_memory_small()
{
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, returned_block);
    mallopt(M_TRIM_THRESHOLD, returned_block);
}

} // namespace

int
main()
{
    keep_memory_small();
    zolv::tell_of_terminate();
    if (tvl_log_setup(nullptr) < 0) {
        g_warning("Failed to set up log system");
        return EXIT_FAILURE;
    }
    const char *level = g_getenv("LOG_LEVEL");
    tvl_log_set_level(level != nullptr ? level : "INFO");

    /* Other threads run loops on the default context, for sources that belong to this thread. One
     * of them would take the context over as soon as the loop below ends: it is owned for good. */
    g_main_context_acquire(nullptr);
    zolv::catch_termination(termination_cb);
    /* The kernel reaps the children, so that none becomes a zombie. */
    signal(SIGCHLD, SIG_IGN);

    _tvl_log(TVL_LOG_INFO, "[Manager] TarvelPerimond process started");
    zolv::connect_guarded_bus(bus_connected_cb, nullptr);
    loop = g_main_loop_new(nullptr, FALSE);
    g_main_loop_run(loop);

    ZolvBaseManager *last_manager = std::exchange(manager, nullptr);
    GMainLoop *last_loop = std::exchange(loop, nullptr);
    if (last_manager != nullptr) {
        zolv_base_manager_shutdown(last_manager);
        g_object_unref(last_manager);
    }
    g_main_loop_unref(last_loop);
    if (owner_id != 0)
        g_bus_unown_name(owner_id);
    _tvl_log(TVL_LOG_INFO, "[Manager] TarvelPerimond process shut down");
    tvl_log_shutdown();
    exit(EXIT_SUCCESS);
}
