#pragma once

#include "peripherals/dio/zolv-dio.h"

/* What zolv_dio_define_hook() does for an input, whatever its lines. */
void zolv_dio_arm_hook(ZolvDIO *self);
