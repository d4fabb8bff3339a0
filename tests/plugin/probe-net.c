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

static ZolvEthernet *
ethernet(const Call *call)
{
    return ZOLV_ETHERNET(probe_obj(call));
}

/* eth-name ID NAME */
static void
do_name(const Call *call)
{
    zolv_ethernet_define_device_name(ethernet(call), call->words[2]);
}

/* eth-udev ID SUBSYSTEM NAME|-: by the network device, or by none */
static void
do_udev(const Call *call)
{
    GUdevDevice *device = probe_device(call, 2);

    zolv_ethernet_define_device_name_by_udev(ethernet(call), device);
    g_clear_object(&device);
}

/* eth-mdio ID SUBSYSTEM NAME|-: by the device on the MDIO bus, or by none */
static void
do_mdio(const Call *call)
{
    GUdevDevice *device = probe_device(call, 2);

    zolv_ethernet_define_device_name_by_udev_mdio_bus_device(ethernet(call), device);
    g_clear_object(&device);
}

/* It stays to the end, as the polling may. */
static ZolvEthernetPolling *
polling_of(const Call *call)
{
    static struct {
        ZolvEthernetPolling polling;
        char paths[2][128];
    } all[16];
    static gsize used;

    g_assert(used < G_N_ELEMENTS(all));
    ZolvEthernetPolling *polling = &all[used].polling;
    char(*paths)[128] = all[used++].paths;
    g_strlcpy(paths[0], call->words[2], sizeof paths[0]);
    g_strlcpy(paths[1], call->words[3], sizeof paths[1]);
    polling->ethernet = ethernet(call);
    polling->mdio_device_path = paths[0];
    polling->attached_path = paths[1];
    return polling;
}

/* eth-poll ID PATH ATTACHED-PATH */
static void
do_poll(const Call *call)
{
    zolv_ethernet_poll_net_dev_attached_thread(polling_of(call));
}

/* eth-check ID PATH ATTACHED-PATH: one step of the polling */
static void
do_check(const Call *call)
{
    INFO("%s", zolv_ethernet_check_net_dev_attached(polling_of(call)) ? "again" : "done");
}

/* eth-bootenv ID VARIABLE|- */
static void
do_eth_bootenv(const Call *call)
{
    zolv_ethernet_bind_bootenv(ethernet(call), probe_optional(call, 2));
}

static guint
eth_given(ZolvEthernet *self, gpointer state)
{
    (void)self;
    return GPOINTER_TO_UINT(state);
}

/* eth-state ID bootenv|directly|NUMBER */
static void
do_eth_state(const Call *call)
{
    const char *word = call->words[2];

    zolv_ethernet_init_iostate(ethernet(call),
                               strcmp(word, "bootenv") == 0    ? zolv_ethernet_enable_by_bootenv
                               : strcmp(word, "directly") == 0 ? zolv_ethernet_enable_directly
                                                               : eth_given,
                               GUINT_TO_POINTER(probe_number(call, 2)));
    INFO("%s", zolv_ethernet_is_available(ethernet(call)) ? "available" : "not available");
}

static void
do_eth_export(const Call *call)
{
    zolv_ethernet_export(ethernet(call));
}

static void
do_eth_unexport(const Call *call)
{
    zolv_ethernet_unexport(ethernet(call));
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
    {"can-bitrate", do_bitrate},
    {"can-terminator", do_terminator},
    {"can-device", do_can_device},
    {"can-bootenv", do_can_bootenv},
    {"can-state", do_can_state},
    {"can-export", do_can_export},
    {"can-unexport", do_can_unexport},
    {"eth-name", do_name},
    {"eth-udev", do_udev},
    {"eth-mdio", do_mdio},
    {"eth-poll", do_poll},
    {"eth-check", do_check},
    {"eth-bootenv", do_eth_bootenv},
    {"eth-state", do_eth_state},
    {"eth-export", do_eth_export},
    {"eth-unexport", do_eth_unexport},
    {NULL, NULL},
};
