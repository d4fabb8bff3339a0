#pragma once

#include "zolv-error.h"

G_BEGIN_DECLS

/*
 * A client of ModemManager. A modem is meant by the path in sysfs of its device, which is what
 * ModemManager calls its device; of several with the same one the last is taken that ModemManager
 * lists. Nothing is kept between calls, so that it does not matter when ModemManager starts, ends
 * or is replaced.
 *
 * The functions block their caller until ModemManager answers. One that does not answer at all
 * holds them up for 25 s, which is what the bus waits for an answer, whatever the command's own
 * time limit.
 *
 * Errors of both: %G_DBUS_ERROR_NAME_HAS_NO_OWNER "couldn't find the mm manager process in the
 * bus"; those of GIO where the bus or ModemManager fails; %ZOLV_CORE_ERROR_EXTERNAL_LIB where
 * libmm-glib cannot be loaded, which is done when it is first needed; %ZOLV_CORE_ERROR_FAILED
 * "[MMClient] Failed to get modem". All but the last are logged.
 */

/**
 * zolv_mm_client_exec_at_cmd:
 * @device_path: the path of the modem's device in sysfs
 * @command: the AT command, such as "AT#SHDN"
 * @timeout_s: how long ModemManager is to wait for the modem, in seconds
 *
 * Sends an AT command and waits for the modem's answer, which is logged. ModemManager passes
 * commands on only in its debug mode, or where it was built to do so always; the log tells when it
 * does not.
 *
 * Errors: %ZOLV_CORE_ERROR_FAILED "[MMClient] Failed to execute AT command"
 *
 * Returns: whether the modem answered
 */
ZOLV_API gboolean zolv_mm_client_exec_at_cmd(const char *device_path, const char *command,
                                             guint timeout_s, GError **error);

/**
 * zolv_mm_client_modem_is_ready:
 * @device_path: the path of the modem's device in sysfs
 *
 * Errors: %ZOLV_CORE_ERROR_FAILED "[MMClient] Modem power state is not ready"
 *
 * Returns: whether the modem is on or in its low-power state
 */
ZOLV_API gboolean zolv_mm_client_modem_is_ready(const char *device_path, GError **error);

G_END_DECLS
