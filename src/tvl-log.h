#pragma once

#include "zolv-api.h"

G_BEGIN_DECLS

/** TvlLogLevel: how much a line matters; a line below the threshold is dropped. */
typedef enum {
    TVL_LOG_DEBUG = 1,
    TVL_LOG_INFO = 2,
    TVL_LOG_WARN = 3,
    TVL_LOG_ERROR = 4,
} TvlLogLevel;

/**
 * tvl_log_setup:
 * @path: (nullable): file to append to, created with mode 0660; without it lines go to standard
 *   output where the service manager captures it (INVOCATION_ID is set), else to syslog
 *
 * Chooses the sink and takes over the messages of every GLib domain.
 *
 * Returns: 0, or -1 when @path cannot be opened
 */
ZOLV_API int tvl_log_setup(const char *path);

/**
 * tvl_log_set_level:
 * @name: "ERR", "WARN", "INFO" or "DEBUG", in any letter case; note that "ERROR" is none of them
 *
 * Returns: 0, or -1 when @name is unknown and the threshold stays as it was
 */
ZOLV_API int tvl_log_set_level(const char *name);

/**
 * _tvl_log:
 * @level: a #TvlLogLevel; one above error is a programming error
 * @format: printf-style; begins with the tag of its origin in brackets
 *
 * Writes one line. Safe from any thread: lines do not mix.
 */
ZOLV_API void _tvl_log(int level, const char *format, ...) G_GNUC_PRINTF(2, 3);

/** tvl_log_shutdown: closes the log file, or the connection to syslog. */
ZOLV_API void tvl_log_shutdown(void);

G_END_DECLS
