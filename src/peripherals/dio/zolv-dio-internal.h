#pragma once

#include "peripherals/dio/zolv-dio.h"

/* What zolv_dio_define_hook() does for an input, whatever its lines. */
void zolv_dio_arm_hook(ZolvDIO *self);

namespace zolv {

/* Whether a channel has been given its lines; else ZOLV_CORE_ERROR_PERIPH_NOT_READY with
 * @complaint. */
bool check_dio_defined(bool defined, const char *complaint, GError **error);

/* Drives line @pin to @state if the channel has been given its lines and is turned to output. */
bool drive_dio(bool defined, guint direction, int pin, guint state, GError **error);

} // namespace zolv
