#include "helpers/zolv-helpers-common.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-assert.h"
#include "core/zolv-fail.h"
#include "core/zolv-raii.h"
#include "core/zolv-sigchld.h"
#include "core/zolv-text.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <gio/gio.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <unistd.h>

using zolv::fit_text;

namespace {

constexpr std::size_t command_size = 256;

/* A daemon has no terminal, and must not get one by opening a serial port. A FIFO where a file is
 * expected must not hold it up until somebody opens the other end; files know no waiting. */
constexpr int open_flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

/* Reports errno as "@operation '@path' failed: <text>", and leaves it as it is. */
bool
fail_call(GError **error, const char *operation, const char *path)
{
    const int code = errno;

    zolv::failf(error, ZOLV_CORE_ERROR_FAILED, "%s '%s' failed: %s", operation,
                fit_text(path).c_str(), g_strerror(code));
    errno = code;
    return false;
}

bool
warn_open_failed(const char *path)
{
    const int code = errno;

    _tvl_log(TVL_LOG_WARN, "[Common] open '%s' failed: %s", fit_text(path).c_str(),
             g_strerror(code));
    return false;
}

/* What of a buffer is text: the bytes transferred, up to a terminator among them. */
std::string
transferred_text(const void *buffer, ssize_t n_bytes)
{
    const auto *text = static_cast<const char *>(buffer);

    return fit_text(std::string_view(text, strnlen(text, static_cast<std::size_t>(n_bytes))));
}

bool
read_once(int fd, const char *path, void *buffer, gsize length, GError **error)
{
    const ssize_t n_read = read(fd, buffer, length);

    if (n_read < 1) {
        if (n_read == 0)
            errno = ENODATA;
        return fail_call(error, "read", path);
    }
    ZOLV_DEBUG("[Common] Read \"%s\" from file \"%s\"", transferred_text(buffer, n_read).c_str(),
               fit_text(path).c_str());
    return true;
}

/* Reads the next line of @stream, or as much of it as fits, without its newline. */
bool
read_line(FILE *stream, char *buffer, int size)
{
    if (fgets(buffer, size, stream) == nullptr)
        return false;

    const std::size_t length = strcspn(buffer, "\n");
    if (buffer[length] == '\n') {
        buffer[length] = '\0';
    } else if (length + 1 == static_cast<std::size_t>(size)) {
        /* Only the newline of a line that just fitted belongs to this piece. */
        if (const int next = getc(stream); next != '\n' && next != EOF)
            ungetc(next, stream);
    }
    return true;
}

void
read_last_line(FILE *stream, char *buffer, int size)
{
    if (size < 2) {
        while (getc(stream) != EOF)
            ;
        return;
    }
    while (read_line(stream, buffer, size)) {
        ZOLV_DEBUG("[Common] '%s'", fit_text(buffer).c_str());
    }
}

/* The access mode belongs to the open file, and the device is left as it was found. */
class OtpMode {
  public:
    explicit OtpMode(int fd) : fd_(fd), selected_(select(MTD_OTP_USER)) {}
    OtpMode(const OtpMode &) = delete;
    OtpMode &operator=(const OtpMode &) = delete;
    ~OtpMode()
    {
        if (selected_)
            select(MTD_OTP_OFF);
    }

    explicit operator bool() const { return selected_; }

  private:
    bool select(int mode) const { return ioctl(fd_, OTPSELECT, &mode) >= 0; }

    int fd_;
    bool selected_;
};

bool
read_otp_area(int fd, const char *path, guchar *data, gsize length, GError **error)
{
    /* The kernel answers with every region that the chip has, at most a page of them. */
    std::array<otp_info, 4096 / sizeof(otp_info)> regions{};

    if (ioctl(fd, OTPGETREGIONINFO, regions.data()) < 0)
        return fail_call(error, "otp get REGIONINFO", path);
    if (regions[0].locked == 0)
        return false;
    return read_once(fd, path, data, length, error);
}

GFileType
query_type(GFile *file, GError **error)
{
    g_autoptr(GFileInfo) info = g_file_query_info(
        file, G_FILE_ATTRIBUTE_STANDARD_TYPE, G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, nullptr, error);

    return info != nullptr ? g_file_info_get_file_type(info) : G_FILE_TYPE_UNKNOWN;
}

bool
delete_child(GFile *child, GFileType type, GError **error)
{
    g_autofree char *path = g_file_get_path(child);

    return type == G_FILE_TYPE_DIRECTORY ? zolv_helper_delete_directory(path, error)
                                         : zolv_helper_delete_file(path, error);
}

bool
delete_children(GFile *directory, GError **error)
{
    g_autoptr(GFileEnumerator) children = g_file_enumerate_children(
        directory, G_FILE_ATTRIBUTE_STANDARD_NAME "," G_FILE_ATTRIBUTE_STANDARD_TYPE,
        G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, nullptr, error);
    GFileInfo *info = nullptr;
    GFile *child = nullptr;

    if (children == nullptr)
        return false;
    for (;;) {
        if (!g_file_enumerator_iterate(children, &info, &child, nullptr, error))
            return false;
        if (info == nullptr)
            return true;

        g_autoptr(GError) discarded = nullptr;
        if (!delete_child(child, g_file_info_get_file_type(info),
                          error != nullptr ? &discarded : nullptr) &&
            error != nullptr)
            return true;
    }
}

} // namespace

gboolean
zolv_helper_read_file(const char *path, char *buffer, gsize length, GError **error)
{
    const zolv::UniqueFd fd(open(path, O_RDONLY | open_flags));

    if (!fd)
        return fail_call(error, "open", path);
    return read_once(fd.get(), path, buffer, length, error);
}

gboolean
zolv_helper_read_file_as_uchar(const char *path, guchar *buffer, gsize length, GError **error)
{
    const zolv::UniqueFd fd(open(path, O_RDONLY | open_flags));

    if (!fd)
        return warn_open_failed(path);
    return read_once(fd.get(), path, buffer, length, error);
}

gboolean
zolv_helper_write_file(const char *path, const char *buffer, gsize length, GError **error)
{
    const zolv::UniqueFd fd(open(path, O_WRONLY | open_flags));

    if (!fd)
        return fail_call(error, "open", path);

    const ssize_t n_written = write(fd.get(), buffer, length);
    if (n_written < 0)
        return fail_call(error, "write", path);
    ZOLV_DEBUG("[Common] Write \"%s\" to file \"%s\"", transferred_text(buffer, n_written).c_str(),
               fit_text(path).c_str());
    return TRUE;
}

gboolean
zolv_helper_create_file(const char *filepath, GError **error)
{
    ZOLV_ASSERT(filepath);
    const zolv::UniqueFd fd(open(filepath, O_WRONLY | O_CREAT | open_flags, 0400));

    if (!fd)
        return fail_call(error, "open", filepath);
    ZOLV_DEBUG("[Common] Create file \"%s\"", fit_text(filepath).c_str());
    return TRUE;
}

gboolean
zolv_helper_create_symlink(const char *target, const char *link_path, GError **error)
{
    if (access(link_path, F_OK) == 0 && unlink(link_path) != 0)
        return zolv::failf(error, ZOLV_CORE_ERROR_FAILED, "couldn't remove file '%s'",
                           fit_text(link_path).c_str());
    if (symlink(target, link_path) != 0)
        return fail_call(error, "create symlink", link_path);
    ZOLV_DEBUG("[Common] Create link \"%s\" to \"%s\"", fit_text(link_path).c_str(),
               fit_text(target).c_str());
    return TRUE;
}

gboolean
zolv_helper_execute_file(const char *path, char *buffer, gint length, GError **error)
{
    const char *complaint = path == nullptr     ? "[Common] File path is NULL."
                            : buffer == nullptr ? "[Common] Output buffer is NULL."
                            : length < 0        ? "[Common] Output buffer length is negative."
                                                : nullptr;
    std::array<char, command_size> command{};

    if (complaint != nullptr)
        return zolv::fail(error, ZOLV_CORE_ERROR_FAILED, complaint);
    _tvl_log(TVL_LOG_INFO, "[Common] Execute file '%s'", fit_text(path).c_str());
    g_snprintf(command.data(), command.size(), "/bin/bash %s", path);

    const zolv::WaitableChildren waitable;
    FILE *output = popen(command.data(), "re");
    if (output == nullptr)
        return zolv::failf(error, ZOLV_CORE_ERROR_FAILED, "[Common] Failed to run command '%s'",
                           fit_text(command.data()).c_str());
    read_last_line(output, buffer, length);
    pclose(output);
    return TRUE;
}

gboolean
zolv_helper_read_flash_otp(const char *filepath, guchar *data, gsize length, GError **error)
{
    ZOLV_ASSERT(filepath);
    ZOLV_ASSERT(data);
    const zolv::UniqueFd fd(open(filepath, O_RDONLY | open_flags));

    if (!fd)
        return warn_open_failed(filepath);

    const OtpMode mode(fd.get());
    if (!mode)
        return fail_call(error, "otp select", filepath);
    return read_otp_area(fd.get(), filepath, data, length, error);
}

gboolean
zolv_helper_copy_file(const char *src_path, const char *dst_path, GError **error)
{
    ZOLV_ASSERT(src_path);
    ZOLV_ASSERT(dst_path);
    g_autoptr(GFile) source = g_file_new_for_path(src_path);
    g_autoptr(GFile) destination = g_file_new_for_path(dst_path);

    return g_file_copy(source, destination, G_FILE_COPY_OVERWRITE, nullptr, nullptr, nullptr,
                       error);
}

gboolean
zolv_helper_delete_file(const char *file_path, GError **error)
{
    ZOLV_ASSERT(file_path);
    g_autoptr(GFile) file = g_file_new_for_path(file_path);

    return g_file_delete(file, nullptr, error);
}

gboolean
zolv_helper_delete_directory(const char *dir_path, GError **error)
{
    ZOLV_ASSERT(dir_path);
    g_autoptr(GFile) directory = g_file_new_for_path(dir_path);
    g_autoptr(GError) query_error = nullptr;
    const GFileType type = query_type(directory, &query_error);

    if (query_error != nullptr && !g_error_matches(query_error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND)) {
        g_propagate_error(error, g_steal_pointer(&query_error));
        return FALSE;
    }
    /* The enumeration would follow a link. */
    if (type == G_FILE_TYPE_UNKNOWN || type == G_FILE_TYPE_SYMBOLIC_LINK) {
        g_set_error(error, G_FILE_ERROR, G_FILE_ERROR_NOTDIR, "Path '%s' is not a directory",
                    fit_text(dir_path).c_str());
        return FALSE;
    }
    return delete_children(directory, error) && g_file_delete(directory, nullptr, error);
}

gboolean
zolv_helper_move_file(const char *src_path, const char *dest_path, GError **error)
{
    ZOLV_ASSERT(src_path);
    ZOLV_ASSERT(dest_path);
    g_autoptr(GFile) source = g_file_new_for_path(src_path);
    g_autoptr(GFile) destination = g_file_new_for_path(dest_path);

    return g_file_move(source, destination, G_FILE_COPY_OVERWRITE, nullptr, nullptr, nullptr,
                       error);
}
