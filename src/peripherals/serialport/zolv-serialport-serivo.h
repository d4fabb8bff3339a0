#pragma once

#include "peripherals/serialport/zolv-serialport.h"
#include "zolv-base-manager.h"

#include <gudev/gudev.h>

G_BEGIN_DECLS

#define ZOLV_TYPE_SERIALPORT_SERIVO (zolv_serialport_serivo_get_type())
ZOLV_DECLARE_CLASS(ZolvSerialPortSerivo, zolv_serialport_serivo, SERIALPORT_SERIVO, ZolvSerialPort)

/**
 * ZolvSerialPortSerivoClass:
 *
 * A port of one of the maker's USB serial adapters, which comes and goes with its tty device. Its
 * driver switches the transceiver as that of ZolvSerialPortType1 does. Ready when the device can be
 * opened; that is tried five times, a second apart, since a tty that was just announced may refuse
 * it, and the main loop waits meanwhile.
 */
struct _ZolvSerialPortSerivoClass {
    ZolvSerialPortClass parent_class;
};

/**
 * zolv_serialport_serivo_create_serivo:
 * @udev_device: the tty device, with the property ID_MODEL and a link in /dev; else the process
 * ends
 * @attached_interface: where the adapter is attached, such as "USB1"
 *
 * For the added tty device of an adapter: creates its port, or defines the one that was there
 * before, with the modes of the adapter's model. The name is, for example, USB1_SERIVO4711_PORT0:
 * what of ID_MODEL follows its last "_", and the number behind "port" in the first link; other
 * bytes than letters, digits and "_" become "_". Does nothing for a link without such a number.
 */
ZOLV_API void zolv_serialport_serivo_create_serivo(ZolvBaseManager *manager,
                                                   GUdevDevice *udev_device,
                                                   const char *attached_interface);

/**
 * zolv_serialport_serivo_remove_serivo:
 * @udev_device: as above
 * @attached_interface: as above
 *
 * For the removed tty device of an adapter: withdraws its port from the bus. The object stays, for
 * when the adapter is plugged in again. Does nothing for a port that was never created.
 */
ZOLV_API void zolv_serialport_serivo_remove_serivo(ZolvBaseManager *manager,
                                                   GUdevDevice *udev_device,
                                                   const char *attached_interface);

G_END_DECLS
