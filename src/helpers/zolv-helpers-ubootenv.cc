#include "helpers/zolv-helpers-ubootenv.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-fail.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <libuboot.h>
#include <sys/stat.h>
#include <unistd.h>

using zolv::fit_text;

namespace {

constexpr char config_path[] = "/etc/fw_env.config";

/* Built into the library. */
constexpr char lock_path[] = "/var/lock/fw_printenv.lock";
constexpr mode_t lock_mode = 0600;

/* Whoever can open the lock can hold it, and the library waits for ever: so it is taken from all
 * others, to whom the library's own tools may have left it. */
bool
is_own_file(int fd)
{
    struct stat info;

    return fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == geteuid() &&
           info.st_nlink == 1 &&
           ((info.st_mode & (S_IRWXG | S_IRWXO)) == 0 || fchmod(fd, lock_mode) == 0);
}

/* The library empties whatever the lock's name leads to, and waits for whoever holds it or, with a
 * FIFO, reads it; and every user may create files there. Once it is root's own file, nobody else
 * can put another in its place, so a lock that is not there is made here. */
bool
check_lock()
{
    const zolv::UniqueFd lock(open(
        lock_path, O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, lock_mode));

    if (lock ? is_own_file(lock.get()) : errno == ENOENT || errno == EROFS)
        return true;
    _tvl_log(TVL_LOG_ERROR, "[UBOOTENV] Lock '%s' is not a regular file of root's own", lock_path);
    return false;
}

/* The environment between opening and closing. */
class Environment {
  public:
    Environment() = default;
    Environment(const Environment &) = delete;
    Environment &operator=(const Environment &) = delete;
    ~Environment()
    {
        if (opened_)
            libuboot_close(context_);
        if (context_ != nullptr)
            libuboot_exit(context_);
    }

    bool open(GError **error)
    {
        if (libuboot_initialize(&context_, nullptr) < 0) {
            context_ = nullptr;
            return zolv::fail(error, ZOLV_CORE_ERROR_FAILED, "libubootenv initialize failed");
        }
        if (libuboot_read_config(context_, config_path) < 0)
            return zolv::failf(error, ZOLV_CORE_ERROR_FAILED,
                               "libubootenv read config file '%s' error", config_path);
        if (!check_lock())
            return zolv::fail(error, ZOLV_CORE_ERROR_FAILED, "libubootenv open failed");
        /* Even a failed opening keeps the lock, for which the next one would wait for ever. */
        opened_ = true;
        return libuboot_open(context_) >= 0 ||
               zolv::fail(error, ZOLV_CORE_ERROR_FAILED, "libubootenv open failed");
    }

    uboot_ctx *context() const { return context_; }

  private:
    uboot_ctx *context_ = nullptr;
    bool opened_ = false;
};

bool
store(const gchar *name, const gchar *value, GError **error)
{
    Environment environment;

    if (!environment.open(error))
        return false;
    if (libuboot_set_env(environment.context(), name, value) < 0)
        return zolv::failf(error, ZOLV_CORE_ERROR_FAILED, "set '%s' to '%s' for ubootenv failed",
                           fit_text(name).c_str(), fit_text(value).c_str());
    return libuboot_env_store(environment.context()) >= 0 ||
           zolv::fail(error, ZOLV_CORE_ERROR_FAILED, "store ubootenv failed");
}

} // namespace

gboolean
zolv_helper_get_ubootenv_variable(const gchar *name, gchar *dest, GError **error)
{
    std::unique_ptr<char, zolv::Free<free>> value;

    {
        Environment environment;

        if (!environment.open(error))
            return FALSE;
        value.reset(libuboot_get_env(environment.context(), name));
    }
    if (value == nullptr || strlen(value.get()) >= ZOLV_UBOOTENV_VALUE_SIZE)
        return zolv::failf(error, ZOLV_CORE_ERROR_FAILED, "read '%s' from ubootenv failed",
                           fit_text(name).c_str());

    ZOLV_DEBUG("[UBOOTENV] Read ubootenv \"%s\": \"%s\"", fit_text(name).c_str(),
               fit_text(value.get()).c_str());
    g_strlcpy(dest, value.get(), ZOLV_UBOOTENV_VALUE_SIZE);
    return TRUE;
}

gboolean
zolv_helper_set_ubootenv_variable(const gchar *name, const gchar *value, GError **error)
{
    if (!store(name, value, error))
        return FALSE;
    ZOLV_DEBUG("[UBOOTENV] Set ubootenv \"%s\": \"%s\"", fit_text(name).c_str(),
               fit_text(value).c_str());
    return TRUE;
}
