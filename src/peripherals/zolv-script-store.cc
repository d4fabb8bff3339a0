#include "peripherals/zolv-script-store.h"

#include "core/zolv-text.h"
#include "helpers/zolv-helpers-common.h"
#include "tvl-log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using zolv::fit_text;

constexpr mode_t script_mode = 0755;

/* The main loop waits for the copy: a disk that is too slow for a large script ends it. */
constexpr auto max_copy_time = 5s;

bool
refuse(std::span<const zolv::ScriptRefusal> refusals, const zolv::ScriptRequest &request,
       GError **error)
{
    for (const zolv::ScriptRefusal &refusal : refusals)
        if (refusal.applies(request)) {
            g_set_error_literal(error, ZOLV_CORE_ERROR, refusal.code, refusal.text);
            return true;
        }
    return false;
}

bool
write_all(int fd, const char *data, std::size_t length)
{
    while (length > 0) {
        const ssize_t written = TEMP_FAILURE_RETRY(write(fd, data, length));
        if (written < 0)
            return false;
        data += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

/* These return 0 or the system's error number. */

int
copy_content(int from, int to)
{
    const auto deadline = std::chrono::steady_clock::now() + max_copy_time;
    static std::array<char, std::size_t{1} << 16U> buffer; /* for the main loop alone */

    for (;;) {
        const ssize_t length = TEMP_FAILURE_RETRY(read(from, buffer.data(), buffer.size()));
        if (length == 0)
            return 0;
        if (length < 0 || !write_all(to, buffer.data(), static_cast<std::size_t>(length)))
            return errno;
        if (std::chrono::steady_clock::now() > deadline)
            return ETIMEDOUT;
    }
}

int
check_free_space(const char *directory, off_t size)
{
    struct statvfs info;

    if (statvfs(directory, &info) != 0)
        return errno;
    /* A file system without a size of its own shows 0. */
    if (info.f_blocks == 0)
        return 0;
    const auto n_blocks = static_cast<fsblkcnt_t>(size) / info.f_frsize;
    return n_blocks >= info.f_bavail ? ENOSPC : 0;
}

int
create_copy(const zolv::ScriptSource &source, const char *directory, const char *path,
            zolv::UniqueFd &copy)
{
    if (const int code = check_free_space(directory, source.size()); code != 0)
        return code;
    const zolv::UniqueFd content = source.open_content();
    if (!content)
        return errno;
    /* Never an entry that somebody put there since the checks. Each write waits for the disk, so
     * that the copy's time is the disk's. */
    copy.reset(open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_DSYNC, 0600));
    if (!copy)
        return errno;
    const int code = copy_content(content.get(), copy.get());
    if (code != 0)
        unlink(path);
    return code;
}

int
sync_directory(const char *path)
{
    const zolv::UniqueFd directory(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));

    return directory && fsync(directory.get()) == 0 ? 0 : errno;
}

/* The caller learns that the step failed, the log why. */
bool
fail_step(const char *step, const zolv::ScriptSource &source, int code, GError **error)
{
    _tvl_log(TVL_LOG_WARN, "[Common] install script '%s' failed: %s",
             fit_text(source.path()).c_str(), g_strerror(code));
    g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_FAILED, step);
    return false;
}

bool
install(const zolv::ScriptKind &kind, const zolv::ScriptSource &source, const char *script,
        const char *link, GError **error)
{
    zolv::UniqueFd copy;

    if (const int code = create_copy(source, kind.directory, script, copy); code != 0)
        return fail_step(kind.copy_failed, source, code, error);
    if (fchmod(copy.get(), script_mode) != 0 || fsync(copy.get()) != 0)
        return fail_step(kind.mode_failed, source, errno, error);
    /* What is open for writing cannot be run. */
    copy.reset();
    if (!zolv_helper_create_symlink(script, link, error))
        return false;
    if (const int code = sync_directory(kind.directory); code != 0) {
        unlink(link);
        return fail_step(kind.link_failed, source, code, error);
    }
    return true;
}

bool
is_allowed(char character)
{
    return g_ascii_isalnum(character) || character == '-' || character == '_';
}

bool
entry_exists(const std::string &path)
{
    struct stat info;

    return lstat(path.c_str(), &info) == 0;
}

} // namespace

zolv::ScriptSource::ScriptSource(const char *path)
    : path_(path), base_name_(CharPtr(g_path_get_basename(path)).get()),
      fd_(open(path, O_PATH | O_CLOEXEC))
{
    struct stat info;

    if (!fd_ || fstat(fd_.get(), &info) != 0) {
        error_ = errno;
        return;
    }
    mode_ = info.st_mode;
    size_ = info.st_size;
}

bool
zolv::ScriptSource::missing() const
{
    return error_ == ENOENT || error_ == ENOTDIR || error_ == ELOOP || error_ == ENAMETOOLONG;
}

bool
zolv::ScriptSource::regular() const
{
    return S_ISREG(mode_);
}

zolv::UniqueFd
zolv::ScriptSource::open_content() const
{
    const std::string path = "/proc/self/fd/" + std::to_string(fd_.get());

    /* There are regular files in /proc that block. */
    return UniqueFd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

bool
zolv::script_faults::source_missing(const ScriptRequest &request)
{
    return request.source->missing();
}

bool
zolv::script_faults::source_unreadable(const ScriptRequest &request)
{
    return request.source->unreadable();
}

bool
zolv::script_faults::source_not_regular(const ScriptRequest &request)
{
    return !request.source->regular();
}

bool
zolv::script_faults::name_too_long(const ScriptRequest &request)
{
    return request.name.size() > ScriptStore::max_name_length;
}

bool
zolv::script_faults::name_malformed(const ScriptRequest &request)
{
    return !std::all_of(request.name.begin(), request.name.end(), is_allowed);
}

bool
zolv::script_faults::name_reserved(const ScriptRequest &request)
{
    return request.store.reserved(request.name);
}

bool
zolv::script_faults::name_taken(const ScriptRequest &request)
{
    return request.store.exists(request.name);
}

bool
zolv::script_faults::script_taken(const ScriptRequest &request)
{
    const std::string script = request.store.script_path(request.source->base_name());
    const std::string link = request.store.link_path(request.name);

    return script == link || entry_exists(script) || entry_exists(link);
}

bool
zolv::script_faults::name_unknown(const ScriptRequest &request)
{
    return !request.store.exists(request.name);
}

bool
zolv::script_faults::script_in_use(const ScriptRequest &request)
{
    return request.store.in_use(request.name);
}

zolv::ScriptStore::ScriptStore(const ScriptKind &kind) : kind_(kind)
{
    std::vector<Link> links;
    g_autoptr(GError) error = nullptr;

    if (!list(links, &error) && !g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND))
        _tvl_log(TVL_LOG_WARN, "[Common] list '%s' failed: %s", kind_.directory,
                 fit_text(error->message).c_str());
    for (const Link &link : links)
        enter(link.name);
}

std::string
zolv::ScriptStore::script_path(std::string_view base_name) const
{
    return std::string(kind_.directory) + "/" + std::string(base_name);
}

std::string
zolv::ScriptStore::link_path(std::string_view name) const
{
    return script_path(name) + kind_.suffix;
}

bool
zolv::ScriptStore::exists(std::string_view name) const
{
    struct stat info;

    /* A slash would lead out of the directory. */
    return name.find('/') == name.npos && lstat(link_path(name).c_str(), &info) == 0 &&
           S_ISLNK(info.st_mode);
}

bool
zolv::ScriptStore::add(const char *name, const char *path, GError **error)
{
    const ScriptSource source(path);
    const ScriptRequest request{*this, name, &source};

    if (refuse(kind_.add_refusals, request, error))
        return false;
    if (!install(kind_, source, script_path(source.base_name()).c_str(), link_path(name).c_str(),
                 error))
        return false;
    enter(name);
    return true;
}

bool
zolv::ScriptStore::remove(const char *name, GError **error)
{
    const std::string link = link_path(name);

    if (refuse(kind_.remove_refusals, {*this, name}, error))
        return false;

    const CharPtr target(g_file_read_link(link.c_str(), error));
    if (target == nullptr)
        return false;
    const CharPtr script(g_canonicalize_filename(target.get(), kind_.directory));
    if (access(script.get(), F_OK) != 0) {
        g_set_error_literal(error, ZOLV_CORE_ERROR, kind_.script_gone_code, kind_.script_gone);
        return false;
    }
    if (!zolv_helper_delete_file(link.c_str(), error) ||
        !zolv_helper_delete_file(script.get(), error))
        return false;
    if (const auto entry = registry_.find(name); entry != registry_.end())
        registry_.erase(entry);
    return true;
}

bool
zolv::ScriptStore::list(std::vector<Link> &links, GError **error) const
{
    g_autoptr(GFile) directory = g_file_new_for_path(kind_.directory);
    g_autoptr(GFileEnumerator) entries = g_file_enumerate_children(
        directory, G_FILE_ATTRIBUTE_STANDARD_NAME "," G_FILE_ATTRIBUTE_STANDARD_SYMLINK_TARGET,
        G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, nullptr, error);
    GFileInfo *info = nullptr;

    if (entries == nullptr)
        return false;
    while (g_file_enumerator_iterate(entries, &info, nullptr, nullptr, error)) {
        if (info == nullptr)
            return true;
        const char *target = g_file_info_get_symlink_target(info);
        std::string name = g_file_info_get_name(info);
        if (target == nullptr || !g_str_has_suffix(name.c_str(), kind_.suffix))
            continue;
        name.erase(name.size() - strlen(kind_.suffix));
        links.push_back({std::move(name), target});
    }
    return false;
}

zolv::ScriptStore::Registration &
zolv::ScriptStore::enter(std::string_view name)
{
    if (kind_.name_cut != nullptr && name.size() > max_name_length) {
        _tvl_log(TVL_LOG_WARN, "%s", kind_.name_cut);
        name = name.substr(0, max_name_length);
    }
    return registry_[std::string(name)];
}

const zolv::ScriptStore::Registration *
zolv::ScriptStore::find(std::string_view name) const
{
    const auto entry = registry_.find(name);

    return entry != registry_.end() ? &entry->second : nullptr;
}

bool
zolv::ScriptStore::registered(std::string_view name) const
{
    return find(name) != nullptr;
}

bool
zolv::ScriptStore::reserved(std::string_view name) const
{
    const Registration *entry = find(name);

    return entry != nullptr && entry->reserved;
}

bool
zolv::ScriptStore::in_use(std::string_view name) const
{
    const Registration *entry = find(name);

    return entry != nullptr && !entry->users.empty();
}

void
zolv::ScriptStore::reserve(std::string_view name)
{
    enter(name).reserved = true;
}

void
zolv::ScriptStore::select(std::string_view name, const char *user)
{
    enter(name).users.emplace_back(user);
}

void
zolv::ScriptStore::deselect(std::string_view name, const char *user)
{
    if (const auto entry = registry_.find(name); entry != registry_.end())
        std::erase(entry->second.users, user);
}
