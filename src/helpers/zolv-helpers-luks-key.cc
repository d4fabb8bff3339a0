#include "helpers/zolv-helpers-luks-key.h"

#include "core/zolv-text.h"
#include "helpers/zolv-helpers-store.h"
#include "tvl-log.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

using zolv::fit_text;
using zolv::luks_directory;

namespace {

constexpr gsize max_key_length = gsize{64} << 10U;
constexpr mode_t key_mode = 0640; /* of the directory, too */

/* A header may hold any text as its UUID, or none. */
bool
is_file_name(const gchar *uuid)
{
    return uuid != nullptr && g_uuid_string_is_valid(uuid);
}

/* A wrong mode counts as a change, and so does what cannot be read. */
bool
is_stored(const char *path, std::string_view key)
{
    gsize length = 0;
    struct stat info = {};
    const zolv::CharPtr stored =
        zolv::read_regular_file(path, O_NOFOLLOW, max_key_length, &length, nullptr);
    const bool same = stored != nullptr && std::string_view(stored.get(), length) == key;

    if (stored != nullptr)
        explicit_bzero(stored.get(), length);
    return same && lstat(path, &info) == 0 && (info.st_mode & ALLPERMS) == key_mode;
}

/* A passphrase that is there already wears out no flash. */
bool
save_key(const char *path, const gchar *key, GError **error)
{
    const std::string_view content(key);

    if (content.size() > max_key_length) {
        g_set_error_literal(error, G_FILE_ERROR, G_FILE_ERROR_FAILED, g_strerror(EFBIG));
        return false;
    }
    if (is_stored(path, content))
        return true;
    return zolv::replace_file(luks_directory, path, key_mode, content, error);
}

} // namespace

gboolean
zolv_helper_luks_get_key(const gchar *uuid, gchar **key)
{
    g_autofree char *path = g_build_filename(luks_directory, uuid, nullptr);
    g_autoptr(GError) error = nullptr;
    zolv::CharPtr content;
    gsize length = 0;

    if (is_file_name(uuid))
        content = zolv::read_regular_file(path, O_NOFOLLOW, max_key_length, &length, &error);
    if (content != nullptr) {
        *key = content.release();
        return TRUE;
    }
    if (error == nullptr || g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT) ||
        g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOTDIR)) {
        _tvl_log(TVL_LOG_WARN, "[CONFIG/LUKS] luks file not exist: %s", fit_text(path).c_str());
        return FALSE;
    }
    g_prefix_error(&error, "'%s': ", path);
    _tvl_log(TVL_LOG_WARN, "[CONFIG/LUKS] Failed to read luks file: %s", error->message);
    return FALSE;
}

void
zolv_helper_luks_set_key(const gchar *uuid, const gchar *key)
{
    g_autofree char *path = g_build_filename(luks_directory, uuid, nullptr);
    g_autoptr(GError) error = nullptr;

    if (!is_file_name(uuid)) {
        _tvl_log(TVL_LOG_WARN, "[CONFIG/LUKS] Failed to write luks file: '%s' is not a UUID",
                 fit_text(uuid).c_str());
        return;
    }
    if (g_mkdir_with_parents(luks_directory, key_mode) != 0) {
        _tvl_log(TVL_LOG_WARN, "[CONFIG/LUKS] Failed to mkdir: %s", luks_directory);
        return;
    }
    if (!save_key(path, key, &error))
        _tvl_log(TVL_LOG_WARN, "[CONFIG/LUKS] Failed to write luks file: %s",
                 fit_text(error->message).c_str());
}
