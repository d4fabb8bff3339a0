#include "peripherals/zolv-temporary-folder.h"

#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "tvl-log.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t folder_mode = 0700;
constexpr int tries_at_most = 100;

std::string
random_name()
{
    constexpr std::string_view characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    std::string name;

    while (name.size() < 6)
        name += characters[static_cast<std::size_t>(
            g_random_int_range(0, static_cast<gint>(characters.size())))];
    return name;
}

/* Somebody else may have made a folder of that name since. */
bool
is_own_folder(int fd)
{
    struct stat info;

    return fstat(fd, &info) == 0 && info.st_uid == geteuid() &&
           (info.st_mode & ALLPERMS) == folder_mode;
}

} // namespace

zolv::TemporaryFolder::TemporaryFolder(std::string_view directory)
    : mark_(std::string(directory) + "/" + mark_name)
{
}

/* The mark comes first, so that there is no folder without one at any instant. */
bool
zolv::TemporaryFolder::try_name(std::string_view base_name, bool *taken)
{
    folder_ = std::string(g_get_tmp_dir()) + "/" + random_name();
    file_ = folder_ + "/" + std::string(base_name);
    unlink(mark_.c_str());
    if (symlink(file_.c_str(), mark_.c_str()) == 0 && mkdir(folder_.c_str(), folder_mode) == 0)
        return true;
    const int code = errno;
    unlink(mark_.c_str());
    *taken = code == EEXIST;
    errno = code;
    return false;
}

bool
zolv::TemporaryFolder::make(std::string_view base_name, GError **error)
{
    bool taken = true;

    for (int i = 0; taken && i < tries_at_most; i++)
        if (try_name(base_name, &taken))
            return true;
    const int code = errno;
    /* The words of g_dir_make_tmp() */
    g_set_error(error, G_FILE_ERROR, g_file_error_from_errno(code),
                "Failed to create file “%s/XXXXXX”: %s", g_get_tmp_dir(), g_strerror(code));
    return false;
}

bool
zolv::TemporaryFolder::remove() const
{
    unlink(file_.c_str());
    if (rmdir(folder_.c_str()) != 0)
        return false;
    unlink(mark_.c_str());
    return true;
}

void
zolv::TemporaryFolder::sweep(std::string_view directory)
{
    const std::string mark = std::string(directory) + "/" + mark_name;
    const CharPtr file(g_file_read_link(mark.c_str(), nullptr));

    if (file == nullptr)
        return;
    const CharPtr folder(g_path_get_dirname(file.get()));
    const CharPtr name(g_path_get_basename(file.get()));
    const UniqueFd opened(open(folder.get(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (opened && is_own_folder(opened.get())) {
        unlinkat(opened.get(), name.get(), 0);
        if (rmdir(folder.get()) == 0)
            _tvl_log(TVL_LOG_INFO, "[Common] Removed temporary folder '%s'",
                     fit_text(folder.get()).c_str());
    }
    unlink(mark.c_str());
}
