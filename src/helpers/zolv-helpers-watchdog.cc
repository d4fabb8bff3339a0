#include "helpers/zolv-helpers-watchdog.h"

#include "core/zolv-fail.h"
#include "core/zolv-raii.h"

#include <fcntl.h>

gboolean
zolv_helpers_watchdog_kick(GError **error)
{
    const zolv::UniqueFd device(open("/dev/watchdog", O_WRONLY | O_CLOEXEC));

    if (!device)
        return zolv::fail(error, ZOLV_CORE_ERROR_DEVICE_IO, "Failed to open watchdog device");
    if (write(device.get(), "1", 1) != 1)
        return zolv::fail(error, ZOLV_CORE_ERROR_DEVICE_IO, "Failed to write to watchdog device");
    return TRUE;
}
