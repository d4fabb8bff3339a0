#include "helpers/zolv-helpers-ubootenv.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"

#include <cstdlib>
#include <cstring>
#include <libuboot.h>

using zolv::fit_text;

namespace {

constexpr char config_path[] = "/etc/fw_env.config";

gboolean G_GNUC_PRINTF(2, 3) fail(GError **error, const char *format, ...)
{
    va_list arguments;

    va_start(arguments, format);
    if (error != nullptr)
        *error = g_error_new_valist(ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_FAILED, format, arguments);
    va_end(arguments);
    return FALSE;
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
            return fail(error, "libubootenv initialize failed");
        }
        if (libuboot_read_config(context_, config_path) < 0)
            return fail(error, "libubootenv read config file '%s' error", config_path);
        /* Even a failed opening keeps the lock, for which the next one would wait for ever. */
        opened_ = true;
        return libuboot_open(context_) >= 0 || fail(error, "libubootenv open failed");
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
        return fail(error, "set '%s' to '%s' for ubootenv failed", fit_text(name).c_str(),
                    fit_text(value).c_str());
    return libuboot_env_store(environment.context()) >= 0 || fail(error, "store ubootenv failed");
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
        return fail(error, "read '%s' from ubootenv failed", fit_text(name).c_str());

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
