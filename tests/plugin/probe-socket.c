/* The probe's commands for sockets and what hangs on their wiring. */
#include "probe.h"

#include <stdlib.h>
#include <string.h>

static ZolvSocket *
socket_of(const Call *call)
{
    return ZOLV_SOCKET(probe_obj(call));
}

static const struct {
    const char *word;
    GType (*type)(void);
} types[] = {
    {"base", zolv_socket_get_type},       {"1", zolv_socket_type1_get_type},
    {"2", zolv_socket_type2_get_type},    {"3", zolv_socket_type3_get_type},
    {"4", zolv_socket_type4_get_type},    {"5", zolv_socket_type5_get_type},
    {"6", zolv_socket_type6_get_type},    {"lte", zolv_socket_type_lte_get_type},
    {"5g", zolv_socket_type_5g_get_type},
};

/* socket TYPE NAME: without a definition */
static void
do_socket(const Call *call)
{
    for (gsize i = 0; i < G_N_ELEMENTS(types); i++)
        if (strcmp(types[i].word, call->words[1]) == 0)
            zolv_base_manager_create_new_object(call->manager, types[i].type(), call->words[2]);
}

/* socket-slots ID NUMBER */
static void
do_slots(const Call *call)
{
    zolv_socket_define_number_of_sim_slots(socket_of(call), probe_number(call, 2));
}

static int
pin(const Call *call, guint index)
{
    return atoi(call->words[2 + index]);
}

/* socket-modes ID MODE... */
static void
do_modes(const Call *call)
{
    if (ZOLV_IS_SOCKET_TYPE6(probe_obj(call))) {
        zolv_socket_type6_define_modes(ZOLV_SOCKET_TYPE6(probe_obj(call)), probe_number(call, 2));
        return;
    }
    zolv_socket_type2_define_modes(ZOLV_SOCKET_TYPE2(probe_obj(call)), probe_number(call, 2),
                                   probe_number(call, 3), probe_number(call, 4));
}

/* socket-pins ID PIN...: what defines the lines of its type */
static void
do_pins(const Call *call)
{
    ZolvObj *object = probe_obj(call);

    if (ZOLV_IS_SOCKET_TYPE1(object))
        zolv_socket_type1_define(ZOLV_SOCKET_TYPE1(object));
    else if (ZOLV_IS_SOCKET_TYPE2(object))
        zolv_socket_type2_define_pins(ZOLV_SOCKET_TYPE2(object), pin(call, 0), pin(call, 1),
                                      pin(call, 2));
    else if (ZOLV_IS_SOCKET_TYPE3(object))
        zolv_socket_type3_define_pins(ZOLV_SOCKET_TYPE3(object), pin(call, 0), pin(call, 1),
                                      pin(call, 2), pin(call, 3), pin(call, 4), pin(call, 5));
    else if (ZOLV_IS_SOCKET_TYPE4(object))
        zolv_socket_type4_define_pins(ZOLV_SOCKET_TYPE4(object), pin(call, 0), pin(call, 1),
                                      pin(call, 2), pin(call, 3));
    else if (ZOLV_IS_SOCKET_TYPE5(object))
        zolv_socket_type5_define_pins(ZOLV_SOCKET_TYPE5(object), pin(call, 0), pin(call, 1),
                                      pin(call, 2), pin(call, 3));
    else if (ZOLV_IS_SOCKET_TYPE6(object))
        zolv_socket_type6_define_pins(ZOLV_SOCKET_TYPE6(object), pin(call, 0), pin(call, 1),
                                      pin(call, 2), pin(call, 3), pin(call, 4), pin(call, 5));
    else if (ZOLV_IS_SOCKET_TYPE_LTE(object))
        zolv_socket_type_lte_define_pins(ZOLV_SOCKET_TYPE_LTE(object), pin(call, 0), pin(call, 1),
                                         pin(call, 2), pin(call, 3), pin(call, 4));
}

/* Pins of the 5G modules: pin0, pin1, pin3, pin4; pin2 of the one, pin2 of the other. */
static const gint table_5g[] = {12, 20, 13, 21, -1};

/* socket-module ID LINE...: the lines that tell which 5G module is fitted */
static void
do_module(const Call *call)
{
    ZolvSocketType5G *socket = ZOLV_SOCKET_TYPE_5G(probe_obj(call));
    gint lines[8];
    guint count = g_strv_length(call->words) - 2;

    for (guint i = 0; i < count; i++)
        lines[i] = pin(call, i);
    gboolean fitted = zolv_socket_type_5g_define_module(socket, count, lines);

    INFO("%s", fitted ? "fitted" : "not fitted");
    zolv_socket_type_5g_define_pins(socket, 10, 11, 13, 14, table_5g);
}

/* socket-create ID */
static void
do_create(const Call *call)
{
    zolv_socket_type_5g_create_module(call->manager, ZOLV_SOCKET_TYPE_5G(probe_obj(call)));
}

/* socket-start ID */
static void
do_start(const Call *call)
{
    ZolvObj *object = probe_obj(call);

    if (ZOLV_IS_SOCKET_TYPE6(object))
        zolv_socket_type6_start(ZOLV_SOCKET_TYPE6(object));
    else if (ZOLV_IS_SOCKET_TYPE_LTE(object))
        zolv_socket_type_lte_start(ZOLV_SOCKET_TYPE_LTE(object));
    else
        zolv_socket_type_5g_start(ZOLV_SOCKET_TYPE_5G(object));
}

/* socket-export ID */
static void
do_export(const Call *call)
{
    ZolvObj *object = probe_obj(call);

    if (ZOLV_IS_SOCKET_TYPE6(object))
        zolv_socket_type6_export(ZOLV_SOCKET_TYPE6(object));
    else if (ZOLV_IS_SOCKET_TYPE_LTE(object))
        zolv_socket_type_lte_export(ZOLV_SOCKET_TYPE_LTE(object));
    else
        zolv_socket_type_5g_export(ZOLV_SOCKET_TYPE_5G(object));
}

/* socket-unexport ID */
static void
do_unexport(const Call *call)
{
    ZolvObj *object = probe_obj(call);

    if (ZOLV_IS_SOCKET_TYPE6(object))
        zolv_socket_type6_unexport(ZOLV_SOCKET_TYPE6(object));
    else if (ZOLV_IS_SOCKET_TYPE_LTE(object))
        zolv_socket_type_lte_unexport(ZOLV_SOCKET_TYPE_LTE(object));
    else
        zolv_socket_type_5g_unexport(ZOLV_SOCKET_TYPE_5G(object));
}

/* socket-lock ID */
static void
do_lock(const Call *call)
{
    zolv_socket_type5_deactivate_pwr_off(ZOLV_SOCKET_TYPE5(probe_obj(call)));
}

/* socket-names ID WIFI|- CELLULAR|- */
static void
do_names(const Call *call)
{
    zolv_socket_define_wifi_name(socket_of(call), probe_optional(call, 2));
    zolv_socket_define_cellular_name(socket_of(call), probe_optional(call, 3));
}

/* socket-event ID: the device of the event has come or gone */
static void
do_event(const Call *call)
{
    if (g_strcmp0(g_udev_device_get_action(call->device), "remove") == 0)
        zolv_socket_device_remove(socket_of(call), call->device);
    else
        INFO("%s", zolv_socket_device_add(socket_of(call), call->manager, call->device)
                       ? "taken"
                       : "not taken");
}

/* socket-recover ID */
static void
do_recover(const Call *call)
{
    GError *error = NULL;
    gboolean done = ZOLV_SOCKET_GET_CLASS(socket_of(call))->recover(socket_of(call), &error);

    probe_result(call, done, error);
}

/* socket-shutdown ID */
static void
do_shutdown(const Call *call)
{
    GError *error = NULL;
    gboolean done = ZOLV_SOCKET_GET_CLASS(socket_of(call))->shutdown(socket_of(call), &error);

    probe_result(call, done, error);
}

/* alive ID PIN LEVEL SECONDS */
static void
do_alive(const Call *call)
{
    GError *error = NULL;
    gboolean done = ZOLV_SOCKET_GET_CLASS(socket_of(call))
                        ->wait_alive_pin(socket_of(call), pin(call, 0), probe_number(call, 3),
                                         probe_number(call, 4), &error);

    probe_result(call, done, error);
}

/* null-socket: an operation without an instance */
static void
do_null(const Call *call)
{
    (void)call;
    zolv_socket_set_power(NULL, TRUE, NULL);
}

/* watchdog kick */
static void
do_watchdog(const Call *call)
{
    GError *error = NULL;
    gboolean done = zolv_helpers_watchdog_kick(&error);

    probe_result(call, done, error);
}

static ZolvHelperUinput key = {
    0, "a key of the board with a name that is longer than the field has room for, by far", NULL,
    0};

/* uinput LINE|-: makes a key of a line, or ends it */
static void
do_uinput(const Call *call)
{
    if (probe_optional(call, 1) == NULL) {
        zolv_helper_uinput_destroy(&key);
    } else {
        key.gpio = atoi(call->words[1]);
        zolv_helper_uinput_create(&key);
    }
    INFO("key %s, running %d", key.thread != NULL ? "has a thread" : "has no thread", key.running);
}

/* socket-known ID SUBSYSTEM NAME: a device that was there before the daemon */
static void
do_known(const Call *call)
{
    GUdevDevice *device = probe_device(call, 2);

    INFO("%s",
         zolv_socket_device_add(socket_of(call), call->manager, device) ? "taken" : "not taken");
    g_clear_object(&device);
}

const Command socket_commands[] = {
    {"uinput", do_uinput},
    {"socket-known", do_known},
    {"socket", do_socket},
    {"socket-slots", do_slots},
    {"socket-modes", do_modes},
    {"socket-pins", do_pins},
    {"socket-module", do_module},
    {"socket-create", do_create},
    {"socket-start", do_start},
    {"socket-export", do_export},
    {"socket-unexport", do_unexport},
    {"socket-lock", do_lock},
    {"socket-names", do_names},
    {"socket-event", do_event},
    {"socket-recover", do_recover},
    {"socket-shutdown", do_shutdown},
    {"alive", do_alive},
    {"null-socket", do_null},
    {"watchdog", do_watchdog},
    {NULL, NULL},
};
