/* The probe's commands for Wi-Fi modules. */
#include "probe.h"

#include <string.h>

static ZolvWiFi *
wifi(const Call *call)
{
    return ZOLV_WIFI(probe_obj(call));
}

/* wifi-socket NAME POWER-LINE: a socket whose power is one line, high is on */
static void
do_wifi_socket(const Call *call)
{
    ZolvSocketType2 *slot = ZOLV_SOCKET_TYPE2(
        zolv_base_manager_create_new_object(call->manager, ZOLV_TYPE_SOCKET_TYPE2, call->words[1]));

    zolv_socket_type2_define_modes(slot, 1, 0, 0);
    zolv_socket_type2_define_pins(slot, (gint)probe_number(call, 2), -1, -1);
}

/* wifi-bind ID SOCKET-ID|- */
static void
do_wifi_bind(const Call *call)
{
    const char *slot = probe_optional(call, 2);

    zolv_wifi_bind_socket(
        wifi(call),
        slot != NULL ? (ZolvSocket *)zolv_base_manager_get_object(call->manager, slot) : NULL);
}

/* wifi-name ID NAME|- */
static void
do_wifi_name(const Call *call)
{
    zolv_wifi_define_name(wifi(call), probe_optional(call, 2));
}

/* wifi-interface ID NAME */
static void
do_wifi_interface(const Call *call)
{
    zolv_wifi_define_device_name(wifi(call), call->words[2]);
}

/* wifi-module ID SUBSYSTEM NAME: that device is the module */
static void
do_wifi_module(const Call *call)
{
    GUdevDevice *device = probe_device(call, 2);

    zolv_obj_define_sysfs_path(probe_obj(call), g_udev_device_get_sysfs_path(device));
    g_clear_object(&device);
}

/* wifi-add ID SUBSYSTEM NAME: that device has come */
static void
do_wifi_add(const Call *call)
{
    GUdevDevice *device = probe_device(call, 2);

    INFO("%s", zolv_wifi_device_add(wifi(call), device) ? "taken" : "not taken");
    g_clear_object(&device);
}

/* wifi-remove ID SUBSYSTEM NAME: that device has gone */
static void
do_wifi_remove(const Call *call)
{
    GUdevDevice *device = probe_device(call, 2);

    zolv_wifi_device_remove(wifi(call), device);
    g_clear_object(&device);
}

/* wifi-match ID SUBSYSTEM NAME: whether the device is of the model */
static void
do_wifi_match(const Call *call)
{
    GUdevDevice *device = probe_device(call, 2);
    ZolvWiFi *self = wifi(call);

    INFO("%s", ZOLV_WIFI_GET_CLASS(self)->check_matched(self, device) ? "the model" : "another");
    g_clear_object(&device);
}

const Command wifi_commands[] = {
    {"wifi-socket", do_wifi_socket},
    {"wifi-bind", do_wifi_bind},
    {"wifi-name", do_wifi_name},
    {"wifi-interface", do_wifi_interface},
    {"wifi-module", do_wifi_module},
    {"wifi-add", do_wifi_add},
    {"wifi-remove", do_wifi_remove},
    {"wifi-match", do_wifi_match},
    {NULL, NULL},
};
