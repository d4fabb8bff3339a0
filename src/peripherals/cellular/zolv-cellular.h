#pragma once

#include "peripherals/socket/zolv-socket.h"
#include "zolv-obj.h"
#include <gudev/gudev.h>

G_BEGIN_DECLS

#define ZOLV_TYPE_CELLULAR (zolv_cellular_get_type())
ZOLV_DECLARE_CLASS(ZolvCellular, zolv_cellular, CELLULAR, ZolvObj)

/**
 * ZolvCellularClass:
 * @device_add: a device below the module has appeared; records what it is to the module. Returns:
 *   whether it is one of the module's ports or its network interface
 * @check_matched: whether the identifiers of a USB device are this model's
 * @support_at_shutdown: whether the module is to be shut down by an AT command before its power is
 *   cut; not by default
 * @exec_at_cmd: sends an AT command; see zolv_mm_client_exec_at_cmd()
 * @mm_cli_connected: whether ModemManager has the modem ready; see zolv_mm_client_modem_is_ready().
 *   The device path has to be defined
 * @wait_modem_ready: waits until it is, asking once every 5 s, @timeout_s / 5 + 1 times at most.
 * The hardware watchdog is kicked meanwhile. The reason of a failure is in the log
 * @wait_alive_pin: waits until the line @pin reads @level, looking twice a second; -1 waits the
 * whole time. Errors: %ZOLV_CORE_ERROR_PERIPH_NOT_READY "The cellular alive pin is not in the
 * expected state: %d"
 * @set_power: switches the power by the module's own lines, where its class knows them
 * @get_power: tells whether the module has power, by the same lines
 * @shutdown: switches the module off in order
 *
 * A cellular module in a socket. The socket makes the object when it recognises the module on its
 * USB bus, and tells it of the devices below; the object is on the bus from the instant at which
 * its network interface is known. It stays when the module goes.
 */
struct _ZolvCellularClass {
    ZolvObjClass parent_class;
    gboolean (*device_add)(ZolvCellular *self, GUdevDevice *device);
    gboolean (*check_matched)(ZolvCellular *self, GUdevDevice *device);
    gboolean (*support_at_shutdown)(ZolvCellular *self);
    gboolean (*exec_at_cmd)(ZolvCellular *self, const char *command, guint timeout_s,
                            GError **error);
    gboolean (*mm_cli_connected)(ZolvCellular *self, GError **error);
    gboolean (*wait_modem_ready)(ZolvCellular *self, guint timeout_s);
    gboolean (*wait_alive_pin)(ZolvCellular *self, gint pin, guint level, guint timeout_s,
                               GError **error);
    gboolean (*set_power)(ZolvCellular *self, gboolean on, GError **error);
    gboolean (*get_power)(ZolvCellular *self, gboolean *on, GError **error);
    gboolean (*shutdown)(ZolvCellular *self, GError **error);
};

/** zolv_cellular_bind_socket: @socket holds the module, and lives as long: it gives the bus
 * properties Socket and NumberOfSimSlots, and is what power and SIM slot are asked of. */
ZOLV_API void zolv_cellular_bind_socket(ZolvCellular *self, ZolvSocket *socket);

/** zolv_cellular_set_device_detected: sets the bus property DeviceDetected. */
ZOLV_API void zolv_cellular_set_device_detected(ZolvCellular *self, gboolean detected);

/**
 * zolv_cellular_device_add:
 * @device: the module's USB device or one below it
 *
 * Tells the module of a device that has appeared. The USB device itself is one whose path is the
 * object's SysfsPath; with the identifiers of the model it is the module that is present.
 *
 * Returns: what the class's device_add says
 */
ZOLV_API gboolean zolv_cellular_device_add(ZolvCellular *self, GUdevDevice *device);

/** zolv_cellular_device_remove: tells the module of a device that has gone. With the USB device
 * itself the module is no longer present; names and ports stay. */
ZOLV_API void zolv_cellular_device_remove(ZolvCellular *self, GUdevDevice *device);

/** zolv_cellular_set_power: switches the module by its own lines; a model without any ends the
 * process. Returns: whether it was switched */
ZOLV_API gboolean zolv_cellular_set_power(ZolvCellular *self, gboolean on, GError **error);

/** zolv_ceullar_get_power: the module's power by its own lines, as above. The name is known in this
 * spelling. Returns: whether it could be told */
ZOLV_API gboolean zolv_ceullar_get_power(ZolvCellular *self, gboolean *on, GError **error);

/** zolv_cellular_define_name: sets the bus property Name; copied. */
ZOLV_API void zolv_cellular_define_name(ZolvCellular *self, const char *name);

/** zolv_cellular_define_device_name: @name is the network interface; copied. Sets the bus property
 * DeviceName and exports the object. */
ZOLV_API void zolv_cellular_define_device_name(ZolvCellular *self, const char *name);

/** zolv_cellular_define_device_path: @path in sysfs is that of the module's USB device, by which
 * ModemManager knows it; copied. */
ZOLV_API void zolv_cellular_define_device_path(ZolvCellular *self, const char *path);

/** zolv_cellular_define_atport: @port is the device file for AT commands; copied. */
ZOLV_API void zolv_cellular_define_atport(ZolvCellular *self, const char *port);
/** zolv_cellular_define_qmiport: @port is the device file of the QMI port; copied. */
ZOLV_API void zolv_cellular_define_qmiport(ZolvCellular *self, const char *port);
/** zolv_cellular_define_gpsport: @port is the device file of the NMEA port; copied. */
ZOLV_API void zolv_cellular_define_gpsport(ZolvCellular *self, const char *port);

G_END_DECLS
