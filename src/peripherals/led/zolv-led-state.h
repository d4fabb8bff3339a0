#pragma once

#include <glib.h>

namespace zolv {

/* The states of an LED beside 0, off, and 1, on. */
inline constexpr guint led_heartbeat = 2;

} // namespace zolv
