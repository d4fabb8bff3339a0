#pragma once

#include "zolv-error.h"

G_BEGIN_DECLS

/** ZOLV_UBOOTENV_VALUE_SIZE: bytes of a value with its terminator. */
#define ZOLV_UBOOTENV_VALUE_SIZE 256

/*
 * The boot loader's environment, where "/etc/fw_env.config" says that it is. Each call opens it,
 * does one thing and closes it again. For the main loop only. All errors are
 * %ZOLV_CORE_ERROR_FAILED; beside successes only a lock of the environment is logged that is not
 * root's own regular file: with such a one it cannot be opened.
 */

/**
 * zolv_helper_get_ubootenv_variable:
 * @name: variable name
 * @dest: (out): %ZOLV_UBOOTENV_VALUE_SIZE bytes for the value; untouched on failure
 *
 * Errors: "libubootenv initialize failed", "libubootenv read config file '%s' error",
 * "libubootenv open failed", and "read '%s' from ubootenv failed" for a variable that does not
 * exist or does not fit into @dest
 *
 * Returns: whether the variable was read; an empty @dest is then its value
 */
ZOLV_API gboolean zolv_helper_get_ubootenv_variable(const gchar *name, gchar *dest, GError **error);

/**
 * zolv_helper_set_ubootenv_variable:
 * @name: variable name
 * @value: value; the environment is stored even if it is the present one
 *
 * Errors: the first three above, "set '%s' to '%s' for ubootenv failed", "store ubootenv failed"
 *
 * Returns: whether the environment was stored
 */
ZOLV_API gboolean zolv_helper_set_ubootenv_variable(const gchar *name, const gchar *value,
                                                    GError **error);

G_END_DECLS
