#pragma once

#include "zolv-error.h"

G_BEGIN_DECLS

/**
 * zolv_helpers_watchdog_kick:
 *
 * Gives the hardware watchdog its full time once more, for a caller that keeps the computer's own
 * watchdog service from doing so. The device is opened for each kick and closed without the
 * character that would switch it off: it goes on counting.
 *
 * Errors: %ZOLV_CORE_ERROR_DEVICE_IO "Failed to open watchdog device", "Failed to write to watchdog
 * device"
 *
 * Returns: whether it was kicked
 */
ZOLV_API gboolean zolv_helpers_watchdog_kick(GError **error);

G_END_DECLS
