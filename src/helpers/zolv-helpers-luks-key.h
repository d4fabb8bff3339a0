#pragma once

#include "zolv-error.h"

G_BEGIN_DECLS

/*
 * Passphrases of LUKS volumes, one file per volume in "/etc/tarvel/TarvelPerimond/luks", mode 0640,
 * the passphrase and nothing else. A volume's UUID is whatever the medium says: only one in the
 * canonical form of 36 characters becomes a file name. Failures are logged as warnings. For the
 * main loop only.
 */

/**
 * zolv_helper_luks_get_key:
 * @uuid: UUID in the volume's header
 * @key: (out) (transfer full): the content of the key file, terminated; the caller wipes it and
 *   frees it with g_free(). Untouched on failure.
 *
 * A key file is a regular file of at most 64 KiB; a link is not followed.
 *
 * Returns: whether a key is stored for @uuid
 */
ZOLV_API gboolean zolv_helper_luks_get_key(const gchar *uuid, gchar **key);

/**
 * zolv_helper_luks_set_key:
 * @uuid: UUID in the volume's header
 * @key: passphrase of at most 64 KiB; the caller wipes it
 *
 * Stores the key, in place of an older one; it is on the disk when the function returns.
 */
ZOLV_API void zolv_helper_luks_set_key(const gchar *uuid, const gchar *key);

G_END_DECLS
