#pragma once

#include "tvl-log.h"
#include <cstdarg>

namespace zolv {

/* Whether a line of @level would be written: one comparison, for callers that can save work. */
bool log_enabled(int level);

/* _tvl_log() with @tag, when there is one, in brackets and a blank before the message. */
void log_line(int level, const char *tag, const char *format, va_list arguments)
    G_GNUC_PRINTF(3, 0);

} // namespace zolv

/* A debug line: its arguments are made only where it is wanted. */
#define ZOLV_DEBUG(...)                                                                            \
    do {                                                                                           \
        if (zolv::log_enabled(TVL_LOG_DEBUG))                                                      \
            _tvl_log(TVL_LOG_DEBUG, __VA_ARGS__);                                                  \
    } while (0)
