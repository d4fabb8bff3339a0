#include "core/zolv-fail.h"

#include <cstdarg>

bool
zolv::fail(GError **error, ZolvCoreError code, const char *text)
{
    g_set_error_literal(error, ZOLV_CORE_ERROR, code, text);
    return false;
}

bool
zolv::failf(GError **error, ZolvCoreError code, const char *format, ...)
{
    if (error != nullptr) {
        va_list arguments;

        va_start(arguments, format);
        g_propagate_error(error, g_error_new_valist(ZOLV_CORE_ERROR, code, format, arguments));
        va_end(arguments);
    }
    return false;
}
