#pragma once

#include "core/zolv-raii.h"

#include <string>
#include <string_view>
#include <sys/types.h>

namespace zolv {

inline constexpr char settings_directory[] = "/etc/tarvel/TarvelPerimond";
inline constexpr char settings_file[] = "/etc/tarvel/TarvelPerimond/peripheral-settings.conf";
inline constexpr char luks_directory[] = "/etc/tarvel/TarvelPerimond/luks";

/* Reads the whole of a regular file, with a terminator behind it; @open_flags are further flags of
 * open(). The error is a GFileError with the system's text; what was read until then is wiped. */
CharPtr read_regular_file(const char *path, int open_flags, gsize max_length, gsize *length,
                          GError **error);

/* Writes all of @content; errno on failure. */
bool write_fully(int fd, std::string_view content);

/* Brings the names in a directory to the disk; 0 or the system's error number. */
int sync_directory(const char *path);

/* Where a file of @directory is written before it gets its name. It is the daemon's own, so that
 * what a kill leaves there is found without guessing. */
inline constexpr char unfinished_name[] = ".perimond-unfinished";
std::string unfinished_file(std::string_view directory);

/* Puts a file in the place of @path, which lies in @directory: written aside, synced, renamed. A
 * kill or a loss of power at any instant leaves the old file or the new one. On success the new one
 * is on the disk. The error is a GFileError with the system's text. */
bool replace_file(const char *directory, const char *path, mode_t mode, std::string_view content,
                  GError **error);

/* Removes what a save of settings or keys left unfinished when it was killed. For the start of the
 * daemon: no save may be under way. */
void sweep_leftovers();

} // namespace zolv
