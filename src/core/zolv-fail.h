#pragma once

#include "zolv-error.h"

namespace zolv {

/* How a failure is reported: each sets @error where the fact is known and returns false. */
bool fail(GError **error, ZolvCoreError code, const char *text);
bool failf(GError **error, ZolvCoreError code, const char *format, ...) G_GNUC_PRINTF(3, 4);

/* What an operation asks first: whether the model has defined what it works on. Else it fails with
 * ZOLV_CORE_ERROR_PERIPH_NOT_READY and @complaint. */
inline bool
check_defined(bool defined, const char *complaint, GError **error)
{
    return defined || fail(error, ZOLV_CORE_ERROR_PERIPH_NOT_READY, complaint);
}

} // namespace zolv
