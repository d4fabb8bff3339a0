#pragma once

#include "core/zolv-raii.h"

namespace zolv {

inline constexpr char settings_directory[] = "/etc/tarvel/TarvelPerimond";
inline constexpr char settings_file[] = "/etc/tarvel/TarvelPerimond/peripheral-settings.conf";
inline constexpr char luks_directory[] = "/etc/tarvel/TarvelPerimond/luks";

/* Reads the whole of a regular file, with a terminator behind it; @open_flags are further flags of
 * open(). The error is a GFileError with the system's text; what was read until then is wiped. */
CharPtr read_regular_file(const char *path, int open_flags, gsize max_length, gsize *length,
                          GError **error);

/* Bring a new file and its name to the disk. GLib does that only for a save that replaces some
 * content. */
bool has_content(const char *path);
bool sync_new_file(const char *path, GError **error);

/* Removes the temporary files that saves of settings and keys leave behind when they are killed,
 * all but those whose names could be a person's. For the start of the daemon: no save may be
 * under way. */
void sweep_leftovers();

} // namespace zolv
