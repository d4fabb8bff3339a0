#pragma once

#include <gio/gio.h>

namespace zolv {

/* Connects to the system bus behind the guard, in another thread; @callback hears of the end on the
 * main loop. The connection does not end the process when the bus does. */
void connect_guarded_bus(GAsyncReadyCallback callback, gpointer data);

/* (transfer full): the connection, or null with @error set. */
GDBusConnection *connect_guarded_bus_finish(GAsyncResult *result, GError **error);

} // namespace zolv
