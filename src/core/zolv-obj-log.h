#pragma once

#include "tvl-log.h"
#include "zolv-obj.h"

/* Writes a line about an object, its id in brackets first. */
void zolv_obj_log(ZolvObj *self, int level, const char *format, ...) G_GNUC_PRINTF(3, 4);
