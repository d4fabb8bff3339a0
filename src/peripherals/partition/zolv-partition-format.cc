#include "peripherals/partition/zolv-partition.h"

#include "core/zolv-fail.h"
#include "core/zolv-raii.h"
#include "core/zolv-sigchld.h"
#include "core/zolv-text.h"
#include "tvl-log.h"

#include <string>
#include <string_view>

#define FORMAT_VARIABLE "LUKS_FILESYSTEM_FORMAT"

/* What the value of the variable may begin with, in any letter case. */
static constexpr std::string_view formats[] = {"ext4", "fat", "exfat", "ntfs", "vfat", "xfs"};

static bool
is_supported(const char *wanted)
{
    for (const std::string_view format : formats)
        if (g_ascii_strncasecmp(wanted, format.data(), format.size()) == 0)
            return true;
    return false;
}

gboolean
zolv_partition_format(const char *device, GError **error)
{
    const char *format = g_getenv(FORMAT_VARIABLE);

    if (format == nullptr) {
        _tvl_log(TVL_LOG_WARN, FORMAT_VARIABLE " is not set, using ext4 as default");
        format = "ext4";
    } else if (!is_supported(format)) {
        return zolv::failf(error, ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT,
                           FORMAT_VARIABLE " is not supported: %s", zolv::fit_text(format).c_str());
    }

    const zolv::WaitableChildren waitable;
    const std::string program = std::string("/sbin/mkfs.") + format;
    const char *command[] = {program.c_str(), "-F", device, nullptr};
    g_autoptr(GError) failure = nullptr;
    /* The program's own words are of no use on the bus; whether there is a file system now shows
     * when it is mounted. */
    if (!g_spawn_sync(
            nullptr, const_cast<char **>(command), nullptr,
            static_cast<GSpawnFlags>(G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL),
            nullptr, nullptr, nullptr, nullptr, nullptr, &failure))
        return zolv::fail(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, failure->message);
    return TRUE;
}
