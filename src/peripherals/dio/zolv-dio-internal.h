#pragma once

#include "helpers/zolv-gpio-line.h"
#include "peripherals/dio/zolv-dio.h"

/* What zolv_dio_define_hook() does for an input, whatever its lines. */
void zolv_dio_arm_hook(ZolvDIO *self);

namespace zolv {

/* Whether a channel has been given its lines. */
bool check_dio_defined(bool defined, GError **error);

/* Drives @line to @state if the channel has been given its lines and is an output. */
bool drive_dio(bool defined, bool is_output, const GpioLine &line, guint state, GError **error);

/* Reads the direction of @line if the channel has been given its lines. */
bool read_dio_direction(bool defined, const GpioLine &line, guint *direction, GError **error);

} // namespace zolv
