#pragma once

#include "peripherals/socket/zolv-socket.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SOCKET_TYPE4 (zolv_socket_type4_get_type())
ZOLV_DECLARE_CLASS(ZolvSocketType4, zolv_socket_type4, SOCKET_TYPE4, ZolvSocket)

/**
 * ZolvSocketType4Class:
 *
 * A socket whose cellular module is shut down by the command AT#FASTSHDN before its power is cut,
 * if it is a model that takes it. Switching off waits up to 50 s until ModemManager knows the
 * modem: %ZOLV_CORE_ERROR_NOT_PERMIT "The connection to Modem Manager has not been established
 * yet", and the power stays on, as it does when the command fails. A SIM line selects slot 1 low
 * and slot 2 high. All other errors are those of the lines.
 */
struct _ZolvSocketType4Class {
    ZolvSocketClass parent_class;
};

/**
 * zolv_socket_type4_define_pins:
 * @enable_pin: high a second before the power is switched on
 * @power_pin: high is on
 * @wdisable_pin: high keeps the radio silent
 * @sim_pin: selects the slot
 *
 * The sysfs numbers of the lines, -1 for one that is not wired. Selects SIM slot 1, powers the
 * module on, which takes 1 s, and exports the object; the last call of its definition. A line that
 * cannot be driven is logged and does not keep the others from being driven.
 */
ZOLV_API void zolv_socket_type4_define_pins(ZolvSocketType4 *self, gint enable_pin, gint power_pin,
                                            gint wdisable_pin, gint sim_pin);

G_END_DECLS
