#include "peripherals/zolv-script-store.h"

#include "core/zolv-fail.h"
#include "core/zolv-text.h"
#include "helpers/zolv-helpers-common.h"
#include "helpers/zolv-helpers-store.h"
#include "peripherals/zolv-temporary-folder.h"
#include "tvl-log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

using zolv::fit_text;

constexpr mode_t script_mode = 0755;

bool
refuse(std::span<const zolv::ScriptRefusal> refusals, const zolv::ScriptRequest &request,
       GError **error)
{
    for (const zolv::ScriptRefusal &refusal : refusals)
        if (refusal.applies(request))
            return !zolv::fail(error, refusal.code, refusal.text);
    return false;
}

int
check_free_space(const char *directory, off_t size)
{
    struct statvfs info;

    if (statvfs(directory, &info) != 0 || info.f_blocks == 0)
        return 0; /* unknown, or a file system without a size of its own */
    const fsblkcnt_t n_blocks = (static_cast<fsblkcnt_t>(size) + info.f_frsize - 1) / info.f_frsize;
    return n_blocks > info.f_bavail ? ENOSPC : 0;
}

zolv::CopyResult
create_copy(const zolv::ScriptSource &source, const char *directory, const char *path,
            zolv::UniqueFd &copy)
{
    if (const int code = check_free_space(directory, source.size()); code != 0)
        return {code};
    unlink(path); /* of a copy that could not be removed */
    /* Each write waits for the disk, so that the copy's time is the disk's. */
    copy.reset(open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_DSYNC, 0600));
    if (!copy)
        return {errno, zolv::CopyResult::place};
    const zolv::CopyResult result = source.copy_to(copy.get());
    if (!result)
        unlink(path);
    return result;
}

void
log_failure(const zolv::ScriptSource &source, int code)
{
    std::string path = fit_text(source.path());

    zolv::cut_text(path);
    _tvl_log(TVL_LOG_WARN, "[Common] install script '%s' failed: %s", path.c_str(),
             g_strerror(code));
}

/* The caller learns that the step failed, the log why. */
bool
fail_step(const char *step, const zolv::ScriptSource &source, int code, GError **error)
{
    log_failure(source, code);
    return zolv::fail(error, ZOLV_CORE_ERROR_FAILED, step);
}

/* The words are those of g_file_copy(), which copies everywhere else. It knows no time limit. */
bool
fail_copy(const zolv::ScriptKind &kind, const zolv::ScriptSource &source, const char *script,
          zolv::CopyResult result, GError **error)
{
    const auto code = static_cast<gint>(g_io_error_from_errno(result.error));
    const char *reason = g_strerror(result.error);

    if (result.step == zolv::CopyResult::out_of_time)
        return fail_step(kind.copy_failed, source, result.error, error);
    log_failure(source, result.error);
    if (result.step == zolv::CopyResult::place)
        g_set_error(error, G_IO_ERROR, code, "Error opening file “%s”: %s",
                    fit_text(script).c_str(), reason);
    else if (result.step == zolv::CopyResult::source)
        g_set_error(error, G_IO_ERROR, code, "Error opening file %s: %s",
                    fit_text(source.path()).c_str(), reason);
    else
        g_set_error(error, G_IO_ERROR, code, "Error splicing file: %s", reason);
    return false;
}

/* An entry that somebody put there since the checks stays. */
int
rename_to_free_name(const char *from, const char *to)
{
    const int result = renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);

    /* Not every file system can tell. */
    return result != 0 && errno == EINVAL ? rename(from, to) : result;
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
    const std::string &base_name = request.source->base_name();
    const std::string script = request.store.script_path(base_name);
    const std::string link = request.store.link_path(request.name);

    return script == link || base_name == unfinished_name || base_name == ScriptMark::file_name ||
           base_name == TemporaryFolder::mark_name || (!request.adopted && entry_exists(script)) ||
           entry_exists(link);
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

    settle();
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

/* Completes or undoes what the last process did not come to the end of. */
void
zolv::ScriptStore::settle() const
{
    const std::string unfinished = unfinished_file(kind_.directory);
    const ScriptMark mark(kind_.directory);
    const std::optional<ScriptMark::Entry> entry = mark.read();
    struct stat info;

    if (unlink(unfinished.c_str()) == 0)
        _tvl_log(TVL_LOG_INFO, "[Common] Removed unfinished script '%s'", unfinished.c_str());
    if (!entry)
        return;
    const bool named = leads_to(entry->name, entry->script);
    if (entry->work == ScriptMark::adopting) {
        if (named)
            unlink(link_path(entry->name).c_str());
        return;
    }
    if (named || lstat(entry->script.c_str(), &info) != 0 || info.st_ino != entry->inode)
        return;
    if (unlink(entry->script.c_str()) == 0)
        _tvl_log(TVL_LOG_INFO, "[Common] Removed script '%s', whose name is gone",
                 fit_text(entry->script).c_str());
}

bool
zolv::ScriptStore::leads_to(std::string_view name, const std::string &script) const
{
    const CharPtr target(g_file_read_link(link_path(name).c_str(), nullptr));

    return target != nullptr &&
           script == CharPtr(g_canonicalize_filename(target.get(), kind_.directory)).get();
}

bool
zolv::ScriptStore::install(const ScriptRequest &request, const ScriptMark &mark,
                           GError **error) const
{
    const ScriptSource &source = *request.source;
    const std::string aside = unfinished_file(kind_.directory);
    const std::string script = script_path(source.base_name());
    const std::string link = link_path(request.name);
    struct stat info;
    UniqueFd copy;

    const CopyResult result = create_copy(source, kind_.directory, aside.c_str(), copy);
    if (!result)
        return fail_copy(kind_, source, script.c_str(), result, error);
    const int mode_error = fchmod(copy.get(), script_mode) == 0 ? 0 : errno;
    const auto work = request.adopted ? ScriptMark::adopting : ScriptMark::adding;
    const auto rename_aside = request.adopted ? rename : rename_to_free_name;
    if (fsync(copy.get()) != 0 || fstat(copy.get(), &info) != 0 ||
        !mark.set({work, info.st_ino, request.name, script}) ||
        rename_aside(aside.c_str(), script.c_str()) != 0) {
        const int code = errno;
        unlink(aside.c_str());
        return fail_copy(kind_, source, script.c_str(), {code, CopyResult::place}, error);
    }
    if (mode_error != 0)
        return fail_step(kind_.mode_failed, source, mode_error, error);
    /* What is open for writing cannot be run. */
    copy.reset();
    if (!zolv_helper_create_symlink(script.c_str(), link.c_str(), error))
        return false;
    if (const int code = sync_directory(kind_.directory); code != 0) {
        unlink(link.c_str());
        return fail_step(kind_.link_failed, source, code, error);
    }
    return true;
}

bool
zolv::ScriptStore::add(const char *name, const char *path, GError **error)
{
    const ScriptSource source(path);
    const ScriptRequest request{*this, name, &source};
    const ScriptMark mark(kind_.directory);

    if (refuse(kind_.add_refusals, request, error) || !install(request, mark, error))
        return false;
    enter(name);
    return true;
}

zolv::ScriptStore::Adoption
zolv::ScriptStore::adopt(const char *name, const char *path, const std::function<void()> &select,
                         GError **error)
{
    const ScriptSource source(path);
    const ScriptRequest request{*this, name, &source, true};
    const ScriptMark mark(kind_.directory);
    const bool copyable = !source.unreadable() && source.regular();

    if (refuse(kind_.add_refusals, request, error))
        return copyable ? Adoption::refused : Adoption::failed;
    if (!install(request, mark, error))
        return Adoption::failed;
    enter(name);
    select();
    return Adoption::done;
}

bool
zolv::ScriptStore::remove(const char *name, GError **error)
{
    const std::string link = link_path(name);
    struct stat info;

    if (refuse(kind_.remove_refusals, {*this, name}, error))
        return false;

    const CharPtr target(g_file_read_link(link.c_str(), error));
    if (target == nullptr)
        return false;
    const CharPtr script(g_canonicalize_filename(target.get(), kind_.directory));
    if (access(script.get(), F_OK) != 0)
        return fail(error, kind_.script_gone_code, kind_.script_gone);
    /* A full disk may have no room for the mark: that is no reason to keep a script. */
    const ScriptMark mark(kind_.directory);
    if (lstat(script.get(), &info) == 0)
        mark.set({ScriptMark::removing, info.st_ino, name, script.get()});
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
