#include "core/zolv-system-bus.h"

#include "core/zolv-raii.h"

#include <mutex>

namespace {

std::mutex mutex;
zolv::ObjectPtr<GDBusConnection> system_bus;

} // namespace

void
zolv::set_system_bus(GDBusConnection *connection)
{
    if (connection != nullptr)
        g_object_ref(connection);
    const std::lock_guard lock(mutex);
    system_bus.reset(connection);
}

GDBusConnection *
zolv::get_system_bus(GError **error)
{
    const std::lock_guard lock(mutex);

    if (!system_bus || g_dbus_connection_is_closed(system_bus.get())) {
        g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_CLOSED, "The connection is closed");
        return nullptr;
    }
    return static_cast<GDBusConnection *>(g_object_ref(system_bus.get()));
}
