/* The probe's commands for cellular modules. */
#include "probe.h"

/* at-command PATH COMMAND TIMEOUT */
static void
do_at_command(const Call *call)
{
    GError *error = NULL;
    gboolean done = zolv_mm_client_exec_at_cmd(probe_optional(call, 1), call->words[2],
                                               probe_number(call, 3), &error);

    probe_result(call, done, error);
}

/* modem-ready PATH */
static void
do_modem_ready(const Call *call)
{
    GError *error = NULL;
    gboolean done = zolv_mm_client_modem_is_ready(probe_optional(call, 1), &error);

    probe_result(call, done, error);
}

const Command cellular_commands[] = {
    {"at-command", do_at_command},
    {"modem-ready", do_modem_ready},
    {NULL, NULL},
};
