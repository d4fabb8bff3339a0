#pragma once

#include <glib.h>

namespace zolv {

/* Mounts @source on the directory @target, which is made when it is not there, with the flags that
 * MOUNT_OPTION asks for. The type is libmount's to find. */
bool mount_at(const char *source, const char *target, GError **error);

/* Unmounts what is mounted at @target; when @lazy, also while it is in use. */
bool unmount_at(const char *target, bool lazy, GError **error);

} // namespace zolv
