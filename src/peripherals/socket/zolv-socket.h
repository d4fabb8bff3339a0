#pragma once

#include "zolv-base-manager.h"
#include "zolv-obj.h"
#include <gudev/gudev.h>

G_BEGIN_DECLS

#define ZOLV_TYPE_SOCKET (zolv_socket_get_type())
ZOLV_DECLARE_CLASS(ZolvSocket, zolv_socket, SOCKET, ZolvObj)

/**
 * ZolvSocketClass:
 * @set_power: switches the power of the module
 * @get_power: tells whether it has power
 * @set_sim_slot: selects a SIM slot that is there, counted from 1
 * @get_sim_slot: tells the slot in use
 * @recover: brings a cellular module out of its protection mode by a power cycle
 * @shutdown: switches a module off in order, for a restart of the computer
 * @wait_alive_pin: waits until the line @pin, by which a module shows that it runs, reads @level;
 *   -1 waits the whole time. Errors: %ZOLV_CORE_ERROR_PERIPH_NOT_READY "The socket alive pin is not
 *   in the expected state: %d"
 *
 * An M.2 or mini-PCIe slot that can hold a Wi-Fi or cellular module: its power and its SIM slots.
 * How they are switched is up to the class, one for each kind of wiring. A plugin creates the
 * socket, says how many SIM slots it has and what the objects of modules in it are called, and last
 * defines what its class needs.
 *
 * An operation may hold the main loop as long as its sequence says, for a cellular module that has
 * to be switched off up to two minutes.
 */
struct _ZolvSocketClass {
    ZolvObjClass parent_class;
    gboolean (*set_power)(ZolvSocket *self, gboolean on, GError **error);
    gboolean (*get_power)(ZolvSocket *self, gboolean *on, GError **error);
    gboolean (*set_sim_slot)(ZolvSocket *self, guint slot, GError **error);
    gboolean (*get_sim_slot)(ZolvSocket *self, guint *slot, GError **error);
    gboolean (*recover)(ZolvSocket *self, GError **error);
    gboolean (*shutdown)(ZolvSocket *self, GError **error);
    gboolean (*wait_alive_pin)(ZolvSocket *self, gint pin, guint level, guint timeout_s,
                               GError **error);
};

/** zolv_socket_define_number_of_sim_slots: sets the bus property NumberOfSimSlots. */
ZOLV_API void zolv_socket_define_number_of_sim_slots(ZolvSocket *self, guint number);

/** zolv_socket_define_wifi_name: @name is that of the object of a Wi-Fi module in this socket;
 * copied. Without one no such module is made an object. */
ZOLV_API void zolv_socket_define_wifi_name(ZolvSocket *self, const char *name);

/** zolv_socket_define_cellular_name: the same for a cellular module. */
ZOLV_API void zolv_socket_define_cellular_name(ZolvSocket *self, const char *name);

/**
 * zolv_socket_set_power:
 * @on: whether the module is to have power
 *
 * The power that the module has already is a success. What is done and which errors there are is
 * told with the define operations of each class.
 *
 * Returns: whether it was switched
 */
ZOLV_API gboolean zolv_socket_set_power(ZolvSocket *self, gboolean on, GError **error);

/** zolv_socket_get_power: Returns: whether the power could be told; @on is it */
ZOLV_API gboolean zolv_socket_get_power(ZolvSocket *self, gboolean *on, GError **error);

/**
 * zolv_socket_set_sim_slot:
 * @slot: counted from 1
 *
 * Errors: %ZOLV_CORE_ERROR_NOT_SUPPORT "This socket does not have any SIM card slot", "This socket
 * has only 1 SIM slot"; %ZOLV_CORE_ERROR_INVAL_ARG "Invalid SIM slot: %d"; those of the class
 *
 * Returns: whether it was selected
 */
ZOLV_API gboolean zolv_socket_set_sim_slot(ZolvSocket *self, guint slot, GError **error);

/**
 * zolv_socket_get_sim_slot:
 * @slot: (out): counted from 1; a socket with one slot does not look at the hardware
 *
 * Errors: %ZOLV_CORE_ERROR_NOT_SUPPORT "This socket does not have any SIM card slot"; those of the
 * class
 *
 * Returns: whether it could be told
 */
ZOLV_API gboolean zolv_socket_get_sim_slot(ZolvSocket *self, guint *slot, GError **error);

/**
 * zolv_socket_device_add:
 * @manager: makes the object of a module
 * @device: a device that has appeared on the bus of the socket, or below one there
 *
 * A module that is known by its identifiers, on USB, PCIe or SDIO, becomes an object of its own
 * with the name that the plugin has defined for its kind; one that was there before is the same
 * object again. Devices below it are handed to it. A Telit module that has come up in its
 * protection mode is brought out of it, which holds the main loop for 5 s.
 *
 * Returns: whether the device is a module or belongs to one
 */
ZOLV_API gboolean zolv_socket_device_add(ZolvSocket *self, ZolvBaseManager *manager,
                                         GUdevDevice *device);

/** zolv_socket_device_remove: @device, which has gone, is told to the modules that it was or
 * belonged to. They stay objects. */
ZOLV_API void zolv_socket_device_remove(ZolvSocket *self, GUdevDevice *device);

/** zolv_socket_get_number_of_sim_slots: Returns: the bus property NumberOfSimSlots */
ZOLV_API guint zolv_socket_get_number_of_sim_slots(ZolvSocket *self);

G_END_DECLS
