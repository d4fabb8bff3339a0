#pragma once

#include "zolv-error.h"

G_BEGIN_DECLS

/**
 * zolv_helper_modprobe:
 * @module: module name, and its options if there are any; a command line above 255 bytes aborts.
 *   It passes through the shell: only a model's own text belongs here.
 *
 * Runs /sbin/modprobe and waits for it. Whether the module was loaded is not told.
 */
ZOLV_API void zolv_helper_modprobe(const gchar *module);

G_END_DECLS
