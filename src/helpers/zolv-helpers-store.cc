#include "helpers/zolv-helpers-store.h"

#include "core/zolv-text.h"
#include "tvl-log.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>

namespace {

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
write_and_sync(int fd, std::string_view content)
{
    return zolv::write_fully(fd, content) && fsync(fd) == 0;
}

void
sweep_directory(const char *path)
{
    const std::string unfinished = zolv::unfinished_file(path);

    if (unlink(unfinished.c_str()) == 0)
        _tvl_log(TVL_LOG_INFO, "[Config] Removed unfinished file '%s'", unfinished.c_str());
    else if (errno != ENOENT && errno != ENOTDIR)
        _tvl_log(TVL_LOG_WARN, "[Config] Failed to remove unfinished file '%s': %s",
                 unfinished.c_str(), g_strerror(errno));
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
zolv::write_fully(int fd, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t n_written = TEMP_FAILURE_RETRY(write(fd, content.data(), content.size()));
        if (n_written < 0)
            return false;
        content.remove_prefix(static_cast<std::size_t>(n_written));
    }
    return true;
}

int
zolv::sync_directory(const char *path)
{
    const UniqueFd directory(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));

    return directory && fsync(directory.get()) == 0 ? 0 : errno;
}

std::string
zolv::unfinished_file(std::string_view directory)
{
    return std::string(directory) + "/" + unfinished_name;
}

bool
zolv::replace_file(const char *directory, const char *path, mode_t mode, std::string_view content,
                   GError **error)
{
    const std::string unfinished = unfinished_file(directory);

    unlink(unfinished.c_str()); /* of a save that failed */
    UniqueFd file(
        open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (!file)
        return fail(error, errno);
    if (!write_and_sync(file.get(), content) || rename(unfinished.c_str(), path) != 0) {
        const int code = errno;
        unlink(unfinished.c_str());
        return fail(error, code);
    }
    const int code = sync_directory(directory);
    return code == 0 || fail(error, code);
}

void
zolv::sweep_leftovers()
{
    sweep_directory(settings_directory);
    sweep_directory(luks_directory);
}
