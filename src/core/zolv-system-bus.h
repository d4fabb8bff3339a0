#pragma once

#include <gio/gio.h>

namespace zolv {

/* The connection for libraries that talk to other services: the manager's, behind the guard. Any
 * other one could be reached by whoever may send to its unique name. For all threads. */

/* Takes a reference, or forgets the connection where it is null. */
void set_system_bus(GDBusConnection *connection);

/* (transfer full): the connection; null with @error set while there is none, or none any more. */
GDBusConnection *get_system_bus(GError **error);

} // namespace zolv
