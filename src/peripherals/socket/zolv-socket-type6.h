#pragma once

#include "peripherals/socket/zolv-socket.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SOCKET_TYPE6 (zolv_socket_type6_get_type())
ZOLV_DECLARE_CLASS(ZolvSocketType6, zolv_socket_type6, SOCKET_TYPE6, ZolvSocket)

/**
 * ZolvSocketType6Class:
 *
 * A socket with an alive line, by which a cellular module shows that it runs. Switching on waits up
 * to 20 s for it. Switching off waits up to 50 s until ModemManager knows the modem, if it is a
 * model that takes commands, and sends AT#SHDN, or AT#FASTSHDN where the alive line is not wired;
 * then the alive line is waited for up to 15 s. The power is cut whatever came of that.
 *
 * Errors of the power: %ZOLV_CORE_ERROR_NOT_PERMIT "Socket power can't be controlled due to
 * function select", and "Power control is not allowed" while the socket holds a Wi-Fi module. Of
 * the SIM slot: %ZOLV_CORE_ERROR_NOT_PERMIT "SIM slot control is not allowed" where its line is not
 * wired; %ZOLV_CORE_ERROR_NOT_SUPPORT "Socket does not support SIM select". Those of the lines.
 */
struct _ZolvSocketType6Class {
    ZolvSocketClass parent_class;
};

/** zolv_socket_type6_define_modes: @sim_mode: 0 no selection; 1 high selects slot 2; 2 low does */
ZOLV_API void zolv_socket_type6_define_modes(ZolvSocketType6 *self, guint sim_mode);

/**
 * zolv_socket_type6_define_pins:
 * @reset_pin: low lets the module run
 * @power_pin: high is on
 * @wdisable_pin: high keeps the radio silent
 * @alive_pin: high while the module runs
 * @sim_pin: selects the slot
 * @function_select_pin: low keeps the power from being switched; the module counts as on then
 *
 * The sysfs numbers of the lines, -1 for one that is not wired; for @alive_pin and @sim_pin 0 says
 * so as well. Drives none of them.
 */
ZOLV_API void zolv_socket_type6_define_pins(ZolvSocketType6 *self, gint reset_pin, gint power_pin,
                                            gint wdisable_pin, gint alive_pin, gint sim_pin,
                                            gint function_select_pin);

/** zolv_socket_type6_start: powers the module on from a thread, once, since that may take 21 s. A
 * failure is logged. A call that comes meanwhile may interleave with it. */
ZOLV_API void zolv_socket_type6_start(ZolvSocketType6 *self);
/** zolv_socket_type6_export: publishes the object on the bus; the last call of its definition. */
ZOLV_API void zolv_socket_type6_export(ZolvSocketType6 *self);
/** zolv_socket_type6_unexport: withdraws it. */
ZOLV_API void zolv_socket_type6_unexport(ZolvSocketType6 *self);

G_END_DECLS
