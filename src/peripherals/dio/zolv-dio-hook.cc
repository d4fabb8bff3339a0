#include "peripherals/dio/zolv-dio-hook.h"

#include "core/zolv-fail.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-text.h"
#include "helpers/zolv-helpers-common.h"
#include "peripherals/zolv-script-store.h"
#include "peripherals/zolv-temporary-folder.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr char hook_directory[] = "/etc/tarvel/TarvelPerimond/dio-scripts";
constexpr char hook_suffix[] = ".hook";
constexpr char no_hook[] = "none";

namespace faults = zolv::script_faults;
using DirectoryPtr = std::unique_ptr<DIR, zolv::Free<closedir>>;

constexpr std::array add_refusals = {
    zolv::ScriptRefusal{faults::source_missing, ZOLV_CORE_ERROR_INVAL_ARG,
                        "Source hook script is not exist"},
    zolv::ScriptRefusal{faults::source_unreadable, ZOLV_CORE_ERROR_INVAL_FILE_ATTR,
                        "Query hook script information failed"},
    zolv::ScriptRefusal{faults::source_not_regular, ZOLV_CORE_ERROR_INVAL_FILE_TYPE,
                        "Hook script is not regular file"},
    zolv::ScriptRefusal{faults::name_too_long, ZOLV_CORE_ERROR_INVAL_FILE_NAME,
                        "Hook name must be less than 32 characters"},
    zolv::ScriptRefusal{faults::name_malformed, ZOLV_CORE_ERROR_INVAL_FILE_NAME,
                        "Hook name only allows uppercase letters, lowercase letters, numbers, "
                        "\"-\" and \"_\""},
    zolv::ScriptRefusal{[](const zolv::ScriptRequest &request) { return request.name == no_hook; },
                        ZOLV_CORE_ERROR_INVAL_FILE_NAME,
                        "Hook name reserved keywords cannot be used"},
    zolv::ScriptRefusal{faults::name_taken, ZOLV_CORE_ERROR_INVAL_ARG,
                        "Hook name is exist, please assign a unique hook name"},
    zolv::ScriptRefusal{faults::script_taken, ZOLV_CORE_ERROR_INVAL_ARG, "Hook script is exist"},
};

/* A link made by hand since the start counts as used: who selects it is not known. */
bool
in_use_or_foreign(const zolv::ScriptRequest &request)
{
    return !request.store.registered(request.name) || faults::script_in_use(request);
}

constexpr std::array remove_refusals = {
    zolv::ScriptRefusal{faults::name_unknown, ZOLV_CORE_ERROR_INVAL_ARG, "Hook name is not exist"},
    zolv::ScriptRefusal{in_use_or_foreign, ZOLV_CORE_ERROR_NOT_PERMIT, "Hook is set by other DIs"},
};

constexpr zolv::ScriptKind hook_kind = {
    .directory = hook_directory,
    .suffix = hook_suffix,
    .add_refusals = add_refusals,
    .copy_failed = "Copy source hook script failed",
    .mode_failed = "Change hook script permission failed",
    .link_failed = "Create hook name failed",
    .remove_refusals = remove_refusals,
    .script_gone_code = ZOLV_CORE_ERROR_INVAL_ARG,
    .script_gone = "Hook script is not exist",
    .name_cut = nullptr,
};

zolv::ScriptStore &
store()
{
    static auto *hooks = new zolv::ScriptStore(hook_kind);

    return *hooks;
}

const char *
reason(const GError *error)
{
    return error != nullptr ? error->message : "unknown";
}

} // namespace

void
zolv::DioHook::prepare()
{
    store();
    TemporaryFolder::sweep(hook_directory);
}

bool
zolv::DioHook::list(GVariant **hooks, GError **error)
{
    std::vector<ScriptStore::Link> links;
    GVariantBuilder builder;

    if (!store().list(links, error))
        return false;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
    for (const ScriptStore::Link &link : links)
        g_variant_builder_add(&builder, "{ss}", fit_text(link.name).c_str(),
                              fit_text(link.target).c_str());
    *hooks = g_variant_ref_sink(g_variant_builder_end(&builder));
    return true;
}

bool
zolv::DioHook::add(const char *name, const char *path, GError **error)
{
    return store().add(name, path, error);
}

bool
zolv::DioHook::remove(const char *name, GError **error)
{
    return store().remove(name, error);
}

zolv::DioHook::Path
zolv::DioHook::path() const
{
    const std::lock_guard lock(mutex_);

    return path_;
}

void
zolv::DioHook::set_path(Path path)
{
    const std::lock_guard lock(mutex_);

    path_ = std::move(path);
}

void
zolv::DioHook::select_registered(const char *name)
{
    zolv_gdbus_obj_dio_set_hook_name(skeleton_, fit_text(name).c_str());
    set_path(std::make_shared<const std::string>(store().link_path(name)));
    store().select(name, zolv_obj_get_name(obj_));
    name_ = name;
}

void
zolv::DioHook::deselect()
{
    set_path(nullptr);
    store().deselect(name_, zolv_obj_get_name(obj_));
}

void
zolv::DioHook::load()
{
    const std::string name = stored_name_.read_or_store("");

    if (name.empty())
        zolv_gdbus_obj_dio_set_hook_name(skeleton_, no_hook);
    else if (store().registered(name))
        select_registered(name.c_str());
}

bool
zolv::DioHook::select_none(GError **error)
{
    if (g_strcmp0(zolv_gdbus_obj_dio_get_hook_name(skeleton_), no_hook) == 0)
        return fail(error, ZOLV_CORE_ERROR_NOT_PERMIT, "DI does not set any hook script");
    stored_name_.store("");
    zolv_gdbus_obj_dio_set_hook_name(skeleton_, no_hook);
    deselect();
    name_.clear();
    return true;
}

bool
zolv::DioHook::select(const char *name, GError **error)
{
    if (g_strcmp0(name, no_hook) == 0)
        return select_none(error);
    if (!store().exists(name))
        return fail(error, ZOLV_CORE_ERROR_INVAL_ARG, "Hook name is not exist");
    stored_name_.store(name);
    deselect();
    if (store().registered(name))
        select_registered(name);
    return true;
}

void
zolv::DioHook::check()
{
    const Path link = path();
    g_autoptr(GError) error = nullptr;

    if (link != nullptr && access(link->c_str(), F_OK) == 0)
        return;
    if (!select_none(&error))
        zolv_obj_log(obj_, TVL_LOG_WARN, "Failed to set hook, reason: %s", reason(error));
}

bool
zolv::DioHook::is_linked(DIR *directory, const char *script) const
{
    /* NOLINTNEXTLINE(concurrency-mt-unsafe): nobody else reads this stream */
    while (const dirent *entry = readdir(directory)) {
        g_autofree char *link = g_build_filename(hook_directory, entry->d_name, nullptr);
        g_autoptr(GError) error = nullptr;
        if (!g_str_has_suffix(link, hook_suffix) || !g_file_test(link, G_FILE_TEST_IS_SYMLINK))
            continue;
        g_autofree char *target = g_file_read_link(link, &error);
        if (target == nullptr) {
            _tvl_log(TVL_LOG_ERROR, "Error reading symlink %s: %s", fit_text(link).c_str(),
                     fit_text(error->message).c_str());
            continue;
        }
        g_autofree char *absolute = g_canonicalize_filename(target, hook_directory);
        if (g_strcmp0(absolute, script) == 0) {
            ZOLV_OBJ_DEBUG(obj_, "Found .hook symlink pointing to %s\n", script);
            return true;
        }
    }
    return false;
}

bool
zolv::DioHook::is_orphan(const ScriptSource &source, DIR *directory) const
{
    const char *script = source.path().c_str();

    if (source.missing()) {
        ZOLV_OBJ_DEBUG(obj_, "%s does not exist\n", script);
        return false;
    }
    if (source.unreadable()) {
        zolv_obj_log(obj_, TVL_LOG_WARN, "Error querying file info for %s: %s\n", script,
                     g_strerror(source.error()));
        return false;
    }
    if ((source.mode() & S_IXUSR) == 0) {
        zolv_obj_log(obj_, TVL_LOG_WARN, "%s is not executable by owner\n", script);
        return false;
    }
    return !is_linked(directory, script);
}

/* A script that may not be a hook is given up, as it was when scripts were moved out of the way
 * first. Any other failure leaves it where it is. */
void
zolv::DioHook::make_hook(const char *script, const char *copy)
{
    const char *name = zolv_obj_get_name(obj_);
    g_autoptr(GError) error = nullptr;
    const auto select_it = [this, name] {
        g_autoptr(GError) select_error = nullptr;
        if (!select(name, &select_error))
            zolv_obj_log(obj_, TVL_LOG_WARN, "Failed to set hook, reason: %s",
                         reason(select_error));
    };

    const ScriptStore::Adoption adoption = store().adopt(name, copy, select_it, &error);
    if (adoption != ScriptStore::Adoption::done)
        zolv_obj_log(obj_, TVL_LOG_WARN, "Failed to add hook, reason: %s", reason(error));
    if (adoption == ScriptStore::Adoption::refused) {
        unlink(script);
        zolv_obj_log(obj_, TVL_LOG_WARN, "Script %s cannot be a hook and was removed", script);
    }
}

/* From a copy elsewhere: nobody changes that while it is installed. */
void
zolv::DioHook::install_orphan(const ScriptSource &source)
{
    g_autoptr(GError) error = nullptr;
    TemporaryFolder folder(hook_directory);

    if (!folder.make(source.base_name(), &error)) {
        zolv_obj_log(obj_, TVL_LOG_WARN, "Failed to create temp directory: %s",
                     fit_text(error->message).c_str());
        return;
    }
    const char *copy = folder.file().c_str();
    UniqueFd file(open(copy, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0700));
    const bool copied = file && source.regular() && source.copy_to(file.get());
    file.reset();
    if (copied)
        make_hook(source.path().c_str(), copy);
    else
        zolv_obj_log(obj_, TVL_LOG_WARN, "Failed to move script to temp directory");
    if (!folder.remove())
        zolv_obj_log(obj_, TVL_LOG_WARN, "Failed to delete temp directory");
}

void
zolv::DioHook::convert_orphan()
{
    g_autofree char *script =
        g_strdup_printf("%s/%s.script", hook_directory, zolv_obj_get_name(obj_));
    const DirectoryPtr directory(opendir(hook_directory));
    struct stat info;

    if (directory == nullptr) {
        zolv_obj_log(obj_, TVL_LOG_WARN, "Error opening directory %s: %s\n", hook_directory,
                     g_strerror(errno));
        return;
    }
    /* So it is nearly always; to look at what is there costs two processes. */
    if (lstat(script, &info) != 0 && errno == ENOENT) {
        ZOLV_OBJ_DEBUG(obj_, "%s does not exist\n", script);
        return;
    }
    const ScriptSource source(script);
    if (!is_orphan(source, directory.get()))
        return;
    zolv_obj_log(obj_, TVL_LOG_INFO,
                 "%s is orphan script, setup hook name and link for compatibility\n", script);
    install_orphan(source);
}
