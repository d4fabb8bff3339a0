#pragma once

#include "zolv-error.h"

namespace zolv {

/* Every buzzer knows 0, silent, and 1, sounding. */
inline bool
check_buzzer_state(guint state, GError **error)
{
    if (state > 1)
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_INVAL_ARG,
                            "Invalid Buzzer state");
    return state <= 1;
}

} // namespace zolv
