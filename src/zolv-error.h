#pragma once

#include "zolv-api.h"

G_BEGIN_DECLS

#define ZOLV_CORE_ERROR (zolv_core_error_quark())
#define ZOLV_TYPE_CORE_ERROR (zolv_core_error_get_type())

/** ZolvCoreError: every failure that the daemon reports, to its own code and to bus clients, where
 * each has a fixed error name below "com.tarvel.Perimond.Error.Core.". */
typedef enum {
    ZOLV_CORE_ERROR_FAILED = 1,
    ZOLV_CORE_ERROR_NOT_SUPPORT = 2,
    ZOLV_CORE_ERROR_NOT_PERMIT = 3,
    ZOLV_CORE_ERROR_ACCESS = 4,
    ZOLV_CORE_ERROR_INVAL_CMD = 5,
    ZOLV_CORE_ERROR_INVAL_ARG = 6,
    ZOLV_CORE_ERROR_EXTERNAL_LIB = 7,
    ZOLV_CORE_ERROR_DEVICE_IO = 8,
    ZOLV_CORE_ERROR_SYSTEM = 12,
    ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL = 40,
    ZOLV_CORE_ERROR_PERIPH_NOT_READY = 41,
    ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT = 42,
    ZOLV_CORE_ERROR_PERIPH_NOT_FOUND = 43,
    ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE = 44,
    ZOLV_CORE_ERROR_INVAL_FILE_NAME = 9,
    ZOLV_CORE_ERROR_INVAL_FILE_TYPE = 10,
    ZOLV_CORE_ERROR_INVAL_FILE_ATTR = 11,
} ZolvCoreError;

/** zolv_core_error_quark: Returns: the domain; the first call registers it with GIO, so that errors
 * keep their names on the bus. */
ZOLV_API GQuark zolv_core_error_quark(void);

/** zolv_core_error_get_type: Returns: the enumeration type of #ZolvCoreError */
ZOLV_API GType zolv_core_error_get_type(void);

G_END_DECLS
