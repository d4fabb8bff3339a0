#include "core/zolv-raii.h"
#include "guard/zolv-guarded-bus.h"

/* Owns a name as the floor does by itself, behind the daemon's guard. */
extern "C" guint
bench_own_guarded_name(const char *name, GBusAcquiredCallback bus_acquired,
                       GBusNameAcquiredCallback name_acquired)
{
    GAsyncResult *connected = nullptr;

    zolv::connect_guarded_bus(
        [](GObject *, GAsyncResult *result, gpointer data) {
            *static_cast<GAsyncResult **>(data) = G_ASYNC_RESULT(g_object_ref(result));
        },
        &connected);
    while (connected == nullptr)
        g_main_context_iteration(nullptr, TRUE);
    const zolv::ObjectPtr<GDBusConnection> connection(
        zolv::connect_guarded_bus_finish(connected, nullptr));
    g_object_unref(connected);
    bus_acquired(connection.get(), name, nullptr);
    return g_bus_own_name_on_connection(connection.get(), name, G_BUS_NAME_OWNER_FLAGS_NONE,
                                        name_acquired, nullptr, nullptr, nullptr);
}
