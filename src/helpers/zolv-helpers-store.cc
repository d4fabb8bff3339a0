#include "helpers/zolv-helpers-store.h"

#include "core/zolv-text.h"
#include "tvl-log.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>

namespace {

/* GLib writes "<name>.XXXXXX" and renames it to "<name>". */
constexpr std::size_t suffix_length = 1 + 6;

/* GLib draws from capitals and digits. So that nothing is taken for a leftover that people put
 * behind a name to keep a copy (backup, BACKUP, 241120, COPY01), a letter has to follow a digit: of
 * the leftovers one in four stays. */
bool
is_drawn(std::string_view letters)
{
    return letters.find_first_not_of(G_CSET_A_2_Z G_CSET_DIGITS) == letters.npos &&
           letters.find_first_of(G_CSET_A_2_Z, letters.find_first_of(G_CSET_DIGITS)) !=
               letters.npos;
}

bool
fail(GError **error, int code)
{
    g_set_error_literal(error, G_FILE_ERROR, g_file_error_from_errno(code), g_strerror(code));
    return false;
}

bool
read_fully(int fd, char *content, gsize size, gsize *length)
{
    *length = 0;
    while (*length < size) {
        const ssize_t n_read = TEMP_FAILURE_RETRY(read(fd, content + *length, size - *length));
        if (n_read < 0)
            return false;
        if (n_read == 0)
            break;
        *length += static_cast<gsize>(n_read);
    }
    content[*length] = '\0';
    return true;
}

bool
sync_path(const char *path, int open_flags, GError **error)
{
    const zolv::UniqueFd fd(open(path, O_RDONLY | O_CLOEXEC | open_flags));

    return (fd && fsync(fd.get()) == 0) || fail(error, errno);
}

bool
is_settings_name(const char *name)
{
    g_autofree char *settings_name = g_path_get_basename(zolv::settings_file);

    return strcmp(name, settings_name) == 0;
}

bool
is_key_name(const char *name)
{
    return g_uuid_string_is_valid(name);
}

bool
is_leftover_of(std::string_view name, bool (*is_own)(const char *))
{
    if (name.size() <= suffix_length)
        return false;

    const std::string_view suffix = name.substr(name.size() - suffix_length);
    return suffix[0] == '.' && is_drawn(suffix.substr(1)) &&
           is_own(std::string(name.substr(0, name.size() - suffix_length)).c_str());
}

bool
is_regular_file(const char *path)
{
    struct stat status = {};

    return lstat(path, &status) == 0 && S_ISREG(status.st_mode);
}

void
sweep_directory(const char *path, bool (*is_own)(const char *))
{
    g_autoptr(GDir) directory = g_dir_open(path, 0, nullptr);

    if (directory == nullptr)
        return;
    while (const char *name = g_dir_read_name(directory)) {
        if (!is_leftover_of(name, is_own))
            continue;
        g_autofree char *leftover = g_build_filename(path, name, nullptr);
        if (!is_regular_file(leftover))
            continue;
        if (unlink(leftover) == 0)
            _tvl_log(TVL_LOG_INFO, "[Config] Removed unfinished file '%s'", leftover);
        else
            _tvl_log(TVL_LOG_WARN, "[Config] Failed to remove unfinished file '%s': %s", leftover,
                     g_strerror(errno));
    }
}

} // namespace

zolv::CharPtr
zolv::read_regular_file(const char *path, int open_flags, gsize max_length, gsize *length,
                        GError **error)
{
    /* Opening a FIFO must not wait for its writer. */
    const UniqueFd fd(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | open_flags));
    struct stat status = {};

    if (!fd || fstat(fd.get(), &status) != 0) {
        fail(error, errno);
        return nullptr;
    }
    if (!S_ISREG(status.st_mode)) {
        g_set_error_literal(error, G_FILE_ERROR, G_FILE_ERROR_INVAL, "Not a regular file");
        return nullptr;
    }
    if (static_cast<guint64>(status.st_size) > max_length) {
        fail(error, EFBIG);
        return nullptr;
    }

    const auto size = static_cast<gsize>(status.st_size);
    CharPtr content(static_cast<char *>(g_malloc(size + 1)));
    if (!read_fully(fd.get(), content.get(), size, length)) {
        fail(error, errno);
        explicit_bzero(content.get(), size);
        return nullptr;
    }
    return content;
}

bool
zolv::has_content(const char *path)
{
    struct stat status = {};

    return lstat(path, &status) == 0 && status.st_size > 0;
}

bool
zolv::sync_new_file(const char *path, GError **error)
{
    g_autofree char *directory = g_path_get_dirname(path);

    return sync_path(path, O_NOFOLLOW, error) && sync_path(directory, O_DIRECTORY, error);
}

void
zolv::sweep_leftovers()
{
    sweep_directory(settings_directory, is_settings_name);
    sweep_directory(luks_directory, is_key_name);
}
