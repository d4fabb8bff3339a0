#pragma once

#include <gio/gio.h>

namespace zolv {

/* The stream for a GDBusConnection to work on: whatever comes through it has passed the guard.
 * @bus is connected and authenticated. A reading under way is not cancelled; it ends with the
 * socket. */
GIOStream *guarded_stream_new(GSocketConnection *bus);

} // namespace zolv
