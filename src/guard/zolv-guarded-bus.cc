#include "guard/zolv-guarded-bus.h"

#include "core/zolv-raii.h"
#include "guard/zolv-guard-objects.h"
#include "guard/zolv-guard-streams.h"

#include <string>
#include <string_view>

namespace {

constexpr std::size_t answer_at_most = 512;

bool
say(GIOStream *bus, std::string_view line, GError **error)
{
    return g_output_stream_write_all(g_io_stream_get_output_stream(bus), line.data(), line.size(),
                                     nullptr, nullptr, error);
}

/* Reads byte by byte: what follows the line belongs to somebody else. */
bool
hear(GIOStream *bus, std::string_view beginning, GError **error)
{
    std::string line;
    char byte = 0;

    while (!line.ends_with("\r\n") && line.size() < answer_at_most) {
        const gssize length =
            g_input_stream_read(g_io_stream_get_input_stream(bus), &byte, 1, nullptr, error);
        if (length < 0)
            return false;
        if (length == 0)
            break;
        line += byte;
    }
    if (line.starts_with(beginning) && line.ends_with("\r\n"))
        return true;
    g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_PERMISSION_DENIED,
                        "The bus has refused the authentication");
    return false;
}

/* GDBus authenticates on streams of its own kind alone. The empty identity is that of the process,
 * as the kernel tells it to the bus; it holds across user namespaces. Descriptors are not
 * negotiated, so that the bus delivers no message that carries some. */
bool
authenticate(GIOStream *bus, GError **error)
{
    using namespace std::string_view_literals;

    return say(bus, "\0AUTH EXTERNAL\r\nDATA\r\n"sv, error) && hear(bus, "DATA", error) &&
           hear(bus, "OK ", error) && say(bus, "BEGIN\r\n", error);
}

GDBusConnection *
connect_to_bus(GError **error)
{
    const zolv::CharPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, error));
    const zolv::ObjectPtr<GIOStream> bus(
        address ? g_dbus_address_get_stream_sync(address.get(), nullptr, nullptr, error) : nullptr);

    if (!bus || !authenticate(bus.get(), error))
        return nullptr;
    const zolv::ObjectPtr<GIOStream> stream(
        zolv::guarded_stream_new(G_SOCKET_CONNECTION(bus.get())));
    GDBusConnection *connection = g_dbus_connection_new_sync(
        stream.get(), nullptr, G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION, nullptr, nullptr,
        error);
    if (connection != nullptr)
        zolv::guard_object_managers(connection);
    return connection;
}

void
connect_in_thread(GTask *task, gpointer, gpointer, GCancellable *)
{
    GError *error = nullptr;
    GDBusConnection *connection = connect_to_bus(&error);

    if (connection != nullptr)
        g_task_return_pointer(task, connection, g_object_unref);
    else
        g_task_return_error(task, error);
}

} // namespace

void
zolv::connect_guarded_bus(GAsyncReadyCallback callback, gpointer data)
{
    const ObjectPtr<GTask> task(g_task_new(nullptr, nullptr, callback, data));

    g_task_run_in_thread(task.get(), connect_in_thread);
}

GDBusConnection *
zolv::connect_guarded_bus_finish(GAsyncResult *result, GError **error)
{
    return static_cast<GDBusConnection *>(g_task_propagate_pointer(G_TASK(result), error));
}
