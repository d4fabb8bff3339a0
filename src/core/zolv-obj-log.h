#pragma once

#include "core/tvl-log-internal.h"
#include "zolv-obj.h"

/* Writes a line about an object, its id in brackets first. */
void zolv_obj_log(ZolvObj *self, int level, const char *format, ...) G_GNUC_PRINTF(3, 4);

/* A step of a definition failed: an error line of @text, which names no object, and a warning that
 * tells whose definition it is. */
void zolv_obj_log_failed_step(ZolvObj *self, const char *text);

/* The same as ZOLV_DEBUG(). */
#define ZOLV_OBJ_DEBUG(self, ...)                                                                  \
    do {                                                                                           \
        if (zolv::log_enabled(TVL_LOG_DEBUG))                                                      \
            zolv_obj_log(self, TVL_LOG_DEBUG, __VA_ARGS__);                                        \
    } while (0)
