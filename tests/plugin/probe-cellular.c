/* The probe's commands for cellular modules. */
#include "probe.h"

#include <stdlib.h>
#include <string.h>

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

static const struct {
    const char *word;
    GType (*type)(void);
} models[] = {
    {"le910", zolv_cellular_telit_le910_get_type},
    {"le910c4wwx", zolv_cellular_telit_le910c4wwx_get_type},
    {"fn990", zolv_cellular_telit_fn990_get_type},
    {"ec20", zolv_cellular_quectel_ec20_get_type},
    {"rm520n", zolv_cellular_quectel_rm520n_get_type},
};

static ZolvCellular *
cellular(const Call *call)
{
    return ZOLV_CELLULAR(probe_obj(call));
}

static ZolvSocket *
socket_of(const Call *call, guint word)
{
    return ZOLV_SOCKET(zolv_base_manager_get_object(call->manager, call->words[word]));
}

/* cell MODEL NAME PATH|-: a module whose USB device is there */
static void
do_cell(const Call *call)
{
    for (gsize i = 0; i < G_N_ELEMENTS(models); i++) {
        if (strcmp(models[i].word, call->words[1]) != 0)
            continue;
        ZolvObj *obj =
            zolv_base_manager_create_new_object(call->manager, models[i].type(), call->words[2]);
        zolv_obj_define_sysfs_path(obj, probe_optional(call, 3));
        zolv_cellular_define_device_path(ZOLV_CELLULAR(obj), probe_optional(call, 3));
    }
}

/* slot-for-cell NAME SLOTS POWER_LINE SIM_LINE */
static void
do_slot(const Call *call)
{
    ZolvObj *obj =
        zolv_base_manager_create_new_object(call->manager, ZOLV_TYPE_SOCKET_TYPE2, call->words[1]);

    zolv_socket_define_number_of_sim_slots(ZOLV_SOCKET(obj), probe_number(call, 2));
    zolv_socket_type2_define_modes(ZOLV_SOCKET_TYPE2(obj), 1, 0, 1);
    zolv_socket_type2_define_pins(ZOLV_SOCKET_TYPE2(obj), atoi(call->words[3]), -1,
                                  atoi(call->words[4]));
}

/* cell-bind ID SOCKET-ID */
static void
do_bind(const Call *call)
{
    zolv_cellular_bind_socket(cellular(call), socket_of(call, 2));
}

/* cell-name ID NAME */
static void
do_name(const Call *call)
{
    zolv_cellular_define_name(cellular(call), call->words[2]);
}

/* cell-net ID NAME: exports it */
static void
do_net(const Call *call)
{
    zolv_cellular_define_device_name(cellular(call), call->words[2]);
}

/* cell-add ID: the device of the event */
static void
do_add(const Call *call)
{
    INFO("%s", zolv_cellular_device_add(cellular(call), call->device) ? "taken" : "ignored");
}

/* cell-event ID: a device of the module's that comes or goes */
static void
do_cell_event(const Call *call)
{
    if (g_strcmp0(g_udev_device_get_action(call->device), "remove") == 0)
        zolv_cellular_device_remove(cellular(call), call->device);
    else
        do_add(call);
}

/* cell-match ID: whether the event's device is of this model */
static void
do_match(const Call *call)
{
    gboolean matched =
        ZOLV_CELLULAR_GET_CLASS(cellular(call))->check_matched(cellular(call), call->device);

    INFO("%s %s", call->words[1], matched ? "matches" : "does not match");
}

/* cell-at ID */
static void
do_at(const Call *call)
{
    INFO("%s %s", call->words[1],
         ZOLV_CELLULAR_GET_CLASS(cellular(call))->support_at_shutdown(cellular(call))
             ? "is shut down by a command"
             : "needs no command");
}

/* cell-wait ID SECONDS */
static void
do_wait(const Call *call)
{
    INFO("%s", ZOLV_CELLULAR_GET_CLASS(cellular(call))
                       ->wait_modem_ready(cellular(call), probe_number(call, 2))
                   ? "ready"
                   : "not ready");
}

/* cell-connected ID */
static void
do_connected(const Call *call)
{
    GError *error = NULL;
    gboolean done =
        ZOLV_CELLULAR_GET_CLASS(cellular(call))->mm_cli_connected(cellular(call), &error);

    probe_result(call, done, error);
}

/* cell-alive ID LINE LEVEL SECONDS */
static void
do_alive(const Call *call)
{
    GError *error = NULL;
    gboolean done = ZOLV_CELLULAR_GET_CLASS(cellular(call))
                        ->wait_alive_pin(cellular(call), atoi(call->words[2]),
                                         probe_number(call, 3), probe_number(call, 4), &error);

    probe_result(call, done, error);
}

/* cell-pins ID POWER OFF ALIVE WDISABLE PIN4 */
static void
do_pins(const Call *call)
{
    gint pins[5];

    for (gsize i = 0; i < G_N_ELEMENTS(pins); i++)
        pins[i] = atoi(call->words[2 + i]);
    if (ZOLV_IS_CELLULAR_TELIT_FN990(cellular(call)))
        zolv_cellular_telit_fn990_define_pin(ZOLV_CELLULAR_TELIT_FN990(cellular(call)), pins[0],
                                             pins[1], pins[2], pins[3], pins[4]);
    else
        zolv_cellular_quectel_rm520n_define_pin(ZOLV_CELLULAR_QUECTEL_RM520N(cellular(call)),
                                                pins[0], pins[1], pins[2], pins[3], pins[4]);
}

/* cell-power ID on|off|get|shutdown */
static void
do_power(const Call *call)
{
    const char *word = call->words[2];
    GError *error = NULL;
    gboolean on = FALSE;

    if (strcmp(word, "get") != 0) {
        gboolean done =
            strcmp(word, "shutdown") == 0
                ? ZOLV_CELLULAR_GET_CLASS(cellular(call))->shutdown(cellular(call), &error)
                : zolv_cellular_set_power(cellular(call), strcmp(word, "on") == 0, &error);
        probe_result(call, done, error);
    } else if (zolv_ceullar_get_power(cellular(call), &on, &error)) {
        INFO("%s is %s", call->words[1], on ? "on" : "off");
    } else {
        probe_result(call, FALSE, error);
    }
}

/* cell-recover SOCKET-ID: a Telit module in its protection mode has come up in that socket */
static void
do_recover(const Call *call)
{
    ZolvCellularTelitPROT *module = ZOLV_CELLULAR_TELIT_PROT(
        g_object_new(ZOLV_TYPE_CELLULAR_TELIT_PROT, "zolv-obj-peripheral-type", "Cellular",
                     "zolv-obj-name", "CellularProt", NULL));

    INFO("%s", ZOLV_CELLULAR_TELIT_PROT_GET_CLASS(module)->recover(module, socket_of(call, 1))
                   ? "recovered"
                   : "nothing left");
    g_object_unref(module);
}

/* cell-null WHAT: calls a function without what it needs */
static void
do_null(const Call *call)
{
    ZolvCellular *module = ZOLV_CELLULAR(
        zolv_base_manager_create_new_object(call->manager, ZOLV_TYPE_CELLULAR_QUECTEL_EC20, "N"));
    const char *what = call->words[1];

    if (strcmp(what, "self") == 0)
        zolv_cellular_bind_socket(NULL, NULL);
    else if (strcmp(what, "socket") == 0)
        zolv_cellular_bind_socket(module, NULL);
    else if (strcmp(what, "path") == 0)
        ZOLV_CELLULAR_GET_CLASS(module)->mm_cli_connected(module, NULL);
    else if (strcmp(what, "power") == 0)
        zolv_cellular_set_power(module, TRUE, NULL);
    else if (strcmp(what, "prot") == 0)
        zolv_base_manager_create_new_object(call->manager, ZOLV_TYPE_CELLULAR_TELIT_PROT, "P");
}

const Command cellular_commands[] = {
    {"at-command", do_at_command},
    {"modem-ready", do_modem_ready},
    {"cell", do_cell},
    {"slot-for-cell", do_slot},
    {"cell-bind", do_bind},
    {"cell-name", do_name},
    {"cell-net", do_net},
    {"cell-event", do_cell_event},
    {"cell-match", do_match},
    {"cell-at", do_at},
    {"cell-wait", do_wait},
    {"cell-connected", do_connected},
    {"cell-alive", do_alive},
    {"cell-pins", do_pins},
    {"cell-power", do_power},
    {"cell-recover", do_recover},
    {"cell-null", do_null},
    {NULL, NULL},
};
