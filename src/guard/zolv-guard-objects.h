#pragma once

#include <gio/gio.h>

namespace zolv {

/*
 * Lets GLib's object manager clients read nothing of another type than they expect: they look into
 * lists of objects and announcements of objects and properties without asking for the type, and end
 * the process. A list of another type becomes an error, an announcement of another type is dropped.
 *
 * The clients ask through @connection, and are used by libraries, too. What they hear of is owned
 * by other services, which may be faulty like any program.
 */
void guard_object_managers(GDBusConnection *connection);

} // namespace zolv
