#pragma once

#include "peripherals/socket/zolv-socket.h"
#include "zolv-obj.h"
#include <gudev/gudev.h>

G_BEGIN_DECLS

#define ZOLV_TYPE_WIFI (zolv_wifi_get_type())
ZOLV_DECLARE_CLASS(ZolvWiFi, zolv_wifi, WIFI, ZolvObj)

/**
 * ZolvWiFiClass:
 * @device_add: a device of the module, or below it, has come; whether it is the module's network
 *   interface
 * @check_matched: whether the identifiers of a device are those of this model
 *
 * A Wi-Fi module: its name, its network interface, and whether it is there. Its power is that of
 * the socket that holds it. A socket creates the object of a module that it recognises; a plugin
 * creates that of a radio on the main board, and describes it. The object is on the bus as soon as
 * the network interface is known, and stays there when the module goes.
 *
 * There is a class for each model, which knows the model's identifiers and its interface.
 */
struct _ZolvWiFiClass {
    ZolvObjClass parent_class;
    gboolean (*device_add)(ZolvWiFi *self, GUdevDevice *device);
    gboolean (*check_matched)(ZolvWiFi *self, GUdevDevice *device);
};

/** zolv_wifi_define_name: sets the bus property Name, that of the module for people. */
ZOLV_API void zolv_wifi_define_name(ZolvWiFi *self, const char *name);

/** zolv_wifi_define_device_name: sets the bus property DeviceName, the network interface, and
 * exports the object. */
ZOLV_API void zolv_wifi_define_device_name(ZolvWiFi *self, const char *name);

/**
 * zolv_wifi_bind_socket:
 * @socket: that holds the module; borrowed for the module's life
 *
 * Calls for power go to the socket from now on; without one they are refused with
 * %ZOLV_CORE_ERROR_NOT_SUPPORT "Operation not supported".
 */
ZOLV_API void zolv_wifi_bind_socket(ZolvWiFi *self, ZolvSocket *socket);

/** zolv_wifi_set_device_detected: sets the bus property DeviceDetected, whether the module is
 * there. */
ZOLV_API void zolv_wifi_set_device_detected(ZolvWiFi *self, gboolean detected);

/**
 * zolv_wifi_device_add:
 * @device: (transfer none): a device that has come, the module's own (zolv_obj_get_sysfs_path()) or
 *   one below it
 *
 * The module's own tells that the module is there, where its identifiers are those of the model;
 * others are logged.
 *
 * Returns: whether it is the network interface of the module
 */
ZOLV_API gboolean zolv_wifi_device_add(ZolvWiFi *self, GUdevDevice *device);

/** zolv_wifi_device_remove: the same for a device that has gone. The interface keeps its name. */
ZOLV_API void zolv_wifi_device_remove(ZolvWiFi *self, GUdevDevice *device);

G_END_DECLS
