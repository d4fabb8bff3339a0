#include "peripherals/partition/zolv-partition-mount.h"

#include "core/zolv-fail.h"
#include "core/zolv-raii.h"
#include "core/zolv-sigchld.h"
#include "core/zolv-text.h"
#include "tvl-log.h"

#include <libmount.h>
#include <string_view>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using zolv::fit_text;

namespace {

using ContextPtr = std::unique_ptr<libmnt_context, zolv::Free<mnt_free_context>>;

constexpr int context_done = 1; /* mnt_context_get_status() */

struct MountOption {
    std::string_view name; /* in MOUNT_OPTION */
    unsigned long flags;
};
constexpr MountOption mount_options[] = {
    {"noexec", MS_NOEXEC},
    {"nosuid", MS_NOSUID},
    {"nodev", MS_NODEV},
    {"secure", MS_NOEXEC | MS_NOSUID | MS_NODEV},
};

/* The directory to mount on. One that was made for a mount that fails goes again. */
class MountPoint {
  public:
    explicit MountPoint(const char *path) : path_(path) {}
    MountPoint(const MountPoint &) = delete;
    MountPoint &operator=(const MountPoint &) = delete;
    ~MountPoint()
    {
        if (is_made_)
            (void)rmdir(path_);
    }

    /* A link would lead the mount to somebody else's directory. */
    bool make()
    {
        struct stat status = {};

        if (lstat(path_, &status) == 0)
            return S_ISDIR(status.st_mode);
        is_made_ = g_mkdir_with_parents(path_, 0755) == 0;
        return is_made_;
    }
    void keep() { is_made_ = false; }

  private:
    const char *path_;
    bool is_made_ = false;
};

bool
set_mount_flags(libmnt_context *context)
{
    const char *wanted = g_getenv("MOUNT_OPTION");

    if (wanted == nullptr)
        return true;
    _tvl_log(TVL_LOG_DEBUG, "mount_option=%s\n", fit_text(wanted).c_str());
    for (const MountOption &option : mount_options)
        if (option.name == wanted)
            return mnt_context_set_mflags(context, option.flags) == 0;
    return true;
}

/* A helper program of a file system, such as mount.ntfs, tells by its status. */
bool
helper_failed(libmnt_context *context)
{
    return mnt_context_helper_executed(context) == 1 && mnt_context_get_helper_status(context) != 0;
}

} // namespace

bool
zolv::mount_at(const char *source, const char *target, GError **error)
{
    const WaitableChildren waitable;
    const ContextPtr context(mnt_new_context());
    MountPoint mount_point(target);

    if (context == nullptr)
        return fail(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, "Failed to create new libmount context");
    if (!mount_point.make())
        return fail(error, ZOLV_CORE_ERROR_SYSTEM, "Failed to create default mountpoint directory");
    if (!set_mount_flags(context.get()))
        return fail(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, "Failed to set mount option");
    _tvl_log(TVL_LOG_DEBUG, "Running \"mount %s %s\"", fit_text(source).c_str(),
             fit_text(target).c_str());
    if (mnt_context_set_source(context.get(), source) != 0 ||
        mnt_context_set_target(context.get(), target) != 0 ||
        mnt_context_mount(context.get()) != 0 || helper_failed(context.get()))
        return fail(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, "Mount failed");
    mount_point.keep();
    return true;
}

bool
zolv::unmount_at(const char *target, bool lazy, GError **error)
{
    const WaitableChildren waitable;
    const ContextPtr context(mnt_new_context());

    if (context == nullptr)
        return fail(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, "Create new libmount context failed");
    if (lazy) {
        mnt_context_enable_lazy(context.get(), TRUE);
        _tvl_log(TVL_LOG_DEBUG, "Enable lazy umount");
    }
    _tvl_log(TVL_LOG_DEBUG, "Running \"umount %s\"", fit_text(target).c_str());
    if (mnt_context_set_target(context.get(), target) != 0 ||
        mnt_context_umount(context.get()) != 0 ||
        mnt_context_get_status(context.get()) != context_done || helper_failed(context.get()))
        return fail(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, "Unmount failed");
    return true;
}
