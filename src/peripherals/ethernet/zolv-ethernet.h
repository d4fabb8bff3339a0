#pragma once

#include "zolv-obj.h"
#include <gudev/gudev.h>

G_BEGIN_DECLS

#define ZOLV_TYPE_ETHERNET (zolv_ethernet_get_type())
ZOLV_DECLARE_CLASS(ZolvEthernet, zolv_ethernet, ETHERNET, ZolvObj)

/**
 * ZolvEthernetClass:
 *
 * An Ethernet port: its network interface, and whether it is switched on. The name of the interface
 * is given outright, taken from a network device, or found through the device of the port's PHY on
 * the MDIO bus, to which the MAC's driver may attach the network device late.
 *
 * The order of a definition: zolv_ethernet_bind_bootenv(), zolv_ethernet_init_iostate(), then
 * zolv_ethernet_define_device_name(), or one of the two functions that take a device and
 * zolv_ethernet_export().
 */
struct _ZolvEthernetClass {
    ZolvObjClass parent_class;
};

/**
 * ZolvEthernetIOStateFunc:
 * @user_data: what zolv_ethernet_init_iostate() was given
 *
 * Returns: the state at the start: 0 not applicable, 1 disabled, 2 enabled
 */
typedef guint (*ZolvEthernetIOStateFunc)(ZolvEthernet *self, gpointer user_data);

/**
 * zolv_ethernet_bind_bootenv:
 * @bootenv: name of the variable; copied. %NULL ends the process
 *
 * The variable is written when a client asks for a state, and once more at the object's end, where
 * it then differs from what is stored.
 */
ZOLV_API void zolv_ethernet_bind_bootenv(ZolvEthernet *self, const char *bootenv);

/** zolv_ethernet_enable_directly: for a port without a variable. Returns: 2 */
ZOLV_API guint zolv_ethernet_enable_directly(ZolvEthernet *self, gpointer user_data);

/** zolv_ethernet_enable_by_bootenv: for a port with a variable; without one the process ends.
 * Returns: 2 for "1", 1 for "0", 0 for everything else; failures are logged */
ZOLV_API guint zolv_ethernet_enable_by_bootenv(ZolvEthernet *self, gpointer user_data);

/**
 * zolv_ethernet_init_iostate:
 * @callback: one of the two functions above, or one of the plugin's own; called once, at once
 * @user_data: handed to @callback
 *
 * Publishes the state, and stores it unless it is 0.
 */
ZOLV_API void zolv_ethernet_init_iostate(ZolvEthernet *self, ZolvEthernetIOStateFunc callback,
                                         gpointer user_data);

/** zolv_ethernet_is_available: Returns: whether the port is not disabled; one whose state is not
 * applicable is available */
ZOLV_API gboolean zolv_ethernet_is_available(ZolvEthernet *self);

/** zolv_ethernet_export: publishes the object on the bus. */
ZOLV_API void zolv_ethernet_export(ZolvEthernet *self);
/** zolv_ethernet_unexport: withdraws it. */
ZOLV_API void zolv_ethernet_unexport(ZolvEthernet *self);

/**
 * zolv_ethernet_define_device_name:
 * @name: the network interface, such as "eth0"; copied
 *
 * Sets the bus property DeviceName and exports the object; the last call of the definition.
 */
ZOLV_API void zolv_ethernet_define_device_name(ZolvEthernet *self, const char *name);

/**
 * zolv_ethernet_define_device_name_by_udev:
 * @udev_device: (nullable) (transfer none): a network device
 *
 * Sets DeviceName to the device's udev property INTERFACE, which must be there; %NULL clears it.
 * Exports nothing.
 */
ZOLV_API void zolv_ethernet_define_device_name_by_udev(ZolvEthernet *self,
                                                       GUdevDevice *udev_device);

/**
 * zolv_ethernet_define_device_name_by_udev_mdio_bus_device:
 * @mdio_device: (nullable) (transfer none): the PHY's device on the MDIO bus
 *
 * Sets DeviceName to the interface of the network device to which the entry "attached_dev" of the
 * PHY leads. Without a device, without that entry, and where it leads to no network device, the
 * name is cleared; the latter is logged as an error. Exports nothing.
 */
ZOLV_API void zolv_ethernet_define_device_name_by_udev_mdio_bus_device(ZolvEthernet *self,
                                                                       GUdevDevice *mdio_device);

/**
 * ZolvEthernetPolling:
 * @ethernet: the port; borrowed
 * @user_data: the plugin's own
 * @mdio_device_path: the path in sysfs of the PHY's device on the MDIO bus
 * @attached_path: the path that is there as soon as a network device is attached: @mdio_device_path
 *   and "/attached_dev"
 *
 * A port whose name is waited for. The plugin owns the record and what it points to, and keeps them
 * until the polling is over: to the end of the process where the attachment never comes.
 */
typedef struct {
    ZolvEthernet *ethernet;
    gpointer user_data;
    const char *mdio_device_path;
    const char *attached_path;
} ZolvEthernetPolling;

/**
 * zolv_ethernet_check_net_dev_attached:
 *
 * Names the port as zolv_ethernet_define_device_name_by_udev_mdio_bus_device() does, as soon as
 * @attached_path of the record is there. A device that udev does not know is none.
 *
 * Returns: whether to ask again
 */
ZOLV_API gboolean zolv_ethernet_check_net_dev_attached(ZolvEthernetPolling *polling);

/** zolv_ethernet_poll_net_dev_attached_thread: calls zolv_ethernet_check_net_dev_attached() every
 * 500 ms on the main loop, until that says that it is done. The first time is after 500 ms. Starts
 * a thread, "Poll_Thread", that stays until the process ends. */
ZOLV_API void zolv_ethernet_poll_net_dev_attached_thread(ZolvEthernetPolling *polling);

/** zolv_ethernet_thread_net_dev_polling: the body of that thread; it does not return.
 * @polling: a #ZolvEthernetPolling */
ZOLV_API gpointer zolv_ethernet_thread_net_dev_polling(gpointer polling);

G_END_DECLS
