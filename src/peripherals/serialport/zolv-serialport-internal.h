#pragma once

#include "peripherals/serialport/zolv-serialport.h"
#include "peripherals/zolv-stored-switch.h"

/* What the ways of switching a transceiver share. */
namespace zolv {

/* Whether the port's device is defined. */
gboolean has_device(ZolvSerialPort *port);

/* The mode stands alone in the field `port` of the driver: slots of a class. */
gboolean set_mode_by_port_field(ZolvSerialPort *port, guint mode, GError **error);
gboolean get_mode_by_port_field(ZolvSerialPort *port, guint *mode, GError **error);

/* The switches of the port. */
StoredSwitch &pull_up_down(ZolvSerialPort *port);
StoredSwitch &terminator(ZolvSerialPort *port);

} // namespace zolv
