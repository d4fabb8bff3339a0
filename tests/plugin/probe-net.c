/* The probe's commands for CAN and Ethernet ports. */
#include "probe.h"

#include <stdlib.h>
#include <string.h>

static ZolvCAN *
can(const Call *call)
{
    return ZOLV_CAN(probe_obj(call));
}

/* can-bitrate ID NUMBER */
static void
do_bitrate(const Call *call)
{
    zolv_can_define_maximum_supported_bitrate(can(call), probe_number(call, 2));
}

/* can-terminator ID LINE */
static void
do_terminator(const Call *call)
{
    zolv_can_define_terminator_pin(can(call), probe_number(call, 2));
}

/* can-device ID SUBSYSTEM NAME|-: by the network device, or by none */
static void
do_can_device(const Call *call)
{
    GUdevDevice *device = probe_device(call, 2);

    zolv_can_define_device_name_by_udev(can(call), device);
    g_clear_object(&device);
}

/* can-bootenv ID VARIABLE|- */
static void
do_can_bootenv(const Call *call)
{
    zolv_can_bind_bootenv(can(call), probe_optional(call, 2));
}

static guint
can_given(ZolvCAN *self, gpointer state)
{
    (void)self;
    return GPOINTER_TO_UINT(state);
}

/* can-state ID bootenv|directly|NUMBER */
static void
do_can_state(const Call *call)
{
    const char *word = call->words[2];

    zolv_can_init_iostate(can(call),
                          strcmp(word, "bootenv") == 0    ? zolv_can_enable_by_bootenv
                          : strcmp(word, "directly") == 0 ? zolv_can_enable_directly
                                                          : can_given,
                          GUINT_TO_POINTER(probe_number(call, 2)));
    INFO("%s", zolv_can_is_available(can(call)) ? "available" : "not available");
}

static void
do_can_export(const Call *call)
{
    zolv_can_export(can(call));
}

static void
do_can_unexport(const Call *call)
{
    zolv_can_unexport(can(call));
}

const Command net_commands[] = {
    {"can-bitrate", do_bitrate},       {"can-terminator", do_terminator},
    {"can-device", do_can_device},     {"can-bootenv", do_can_bootenv},
    {"can-state", do_can_state},       {"can-export", do_can_export},
    {"can-unexport", do_can_unexport}, {NULL, NULL},
};
