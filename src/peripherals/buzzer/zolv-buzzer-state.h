#pragma once

#include "core/zolv-fail.h"

namespace zolv {

/* Every buzzer knows 0, silent, and 1, sounding. */
inline bool
check_buzzer_state(guint state, GError **error)
{
    return state <= 1 || fail(error, ZOLV_CORE_ERROR_INVAL_ARG, "Invalid Buzzer state");
}

} // namespace zolv
