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
    {"base", zolv_socket_get_type},
    {"1", zolv_socket_type1_get_type},
    {"2", zolv_socket_type2_get_type},
    {"3", zolv_socket_type3_get_type},
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

const Command socket_commands[] = {
    {"socket", do_socket},
    {"socket-slots", do_slots},
    {"socket-modes", do_modes},
    {"socket-pins", do_pins},
    {"socket-recover", do_recover},
    {"socket-shutdown", do_shutdown},
    {"alive", do_alive},
    {"null-socket", do_null},
    {"watchdog", do_watchdog},
    {NULL, NULL},
};
