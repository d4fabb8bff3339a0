#pragma once

#include "zolv-obj.h"
#include <gudev/gudev.h>

G_BEGIN_DECLS

#define ZOLV_TYPE_CAN (zolv_can_get_type())
ZOLV_DECLARE_CLASS(ZolvCAN, zolv_can, CAN, ZolvObj)

/**
 * ZolvCANClass:
 *
 * A CAN controller: its network interface, the highest bit rate of its hardware and the present
 * one, a bus terminator on a GPIO line, and whether it is switched on. The bit rate is set by the
 * system's network configuration; here it is only read, from the kernel at each call.
 *
 * The order of a definition: zolv_can_bind_bootenv(), zolv_can_init_iostate(),
 * zolv_can_define_maximum_supported_bitrate(), zolv_can_define_terminator_pin(),
 * zolv_can_define_device_name_by_udev(), as far as the port has it.
 */
struct _ZolvCANClass {
    ZolvObjClass parent_class;
};

/**
 * ZolvCANIOStateFunc:
 * @user_data: what zolv_can_init_iostate() was given
 *
 * Returns: the state at the start: 0 not applicable, 1 disabled, 2 enabled
 */
typedef guint (*ZolvCANIOStateFunc)(ZolvCAN *self, gpointer user_data);

/**
 * zolv_can_bind_bootenv:
 * @bootenv: name of the variable; copied. %NULL ends the process
 *
 * The variable is written when a client asks for a state, and once more at the object's end, where
 * it then differs from what is stored.
 */
ZOLV_API void zolv_can_bind_bootenv(ZolvCAN *self, const char *bootenv);

/** zolv_can_enable_directly: for a port without a variable. Returns: 2 */
ZOLV_API guint zolv_can_enable_directly(ZolvCAN *self, gpointer user_data);

/** zolv_can_enable_by_bootenv: for a port with a variable; without one the process ends.
 * Returns: 2 for "1", 1 for "0", 0 for everything else; failures are logged */
ZOLV_API guint zolv_can_enable_by_bootenv(ZolvCAN *self, gpointer user_data);

/**
 * zolv_can_init_iostate:
 * @callback: one of the two functions above, or one of the plugin's own; called once, at once
 * @user_data: handed to @callback
 *
 * Publishes the state, and stores it unless it is 0.
 */
ZOLV_API void zolv_can_init_iostate(ZolvCAN *self, ZolvCANIOStateFunc callback, gpointer user_data);

/** zolv_can_is_available: Returns: whether the port is not disabled; one whose state is not
 * applicable is available */
ZOLV_API gboolean zolv_can_is_available(ZolvCAN *self);

/** zolv_can_export: publishes the object on the bus. */
ZOLV_API void zolv_can_export(ZolvCAN *self);
/** zolv_can_unexport: withdraws it. */
ZOLV_API void zolv_can_unexport(ZolvCAN *self);

/** zolv_can_define_maximum_supported_bitrate: sets the bus property MaximumSupportedBitrate to
 * @bitrate bits per second. */
ZOLV_API void zolv_can_define_maximum_supported_bitrate(ZolvCAN *self, guint bitrate);

/**
 * zolv_can_define_terminator_pin:
 * @gpio: the sysfs number of the line that switches the bus terminator: high on, low off
 *
 * Publishes the stored state, off at the first use, and drives the line to it. A line that cannot
 * be driven is logged and otherwise taken as defined. The line keeps its level at the daemon's end.
 */
ZOLV_API void zolv_can_define_terminator_pin(ZolvCAN *self, guint gpio);

/**
 * zolv_can_define_device_name_by_udev:
 * @udev_device: (nullable) (transfer none): the controller's network device
 *
 * Sets the bus property DeviceName to the device's udev property INTERFACE, which must be there,
 * and exports the object; the last call of a CAN port's definition. %NULL clears DeviceName and
 * exports nothing: for a port whose device is gone, or not there yet.
 */
ZOLV_API void zolv_can_define_device_name_by_udev(ZolvCAN *self, GUdevDevice *udev_device);

G_END_DECLS
