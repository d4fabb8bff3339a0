#pragma once

#include "peripherals/socket/zolv-socket.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SOCKET_TYPE2 (zolv_socket_type2_get_type())
ZOLV_DECLARE_CLASS(ZolvSocketType2, zolv_socket_type2, SOCKET_TYPE2, ZolvSocket)

/**
 * ZolvSocketType2Class:
 *
 * A socket with a line each for power and SIM slot, of either polarity. A third one shows that the
 * socket serves another function, for which the power may not be switched.
 *
 * Errors of the power: %ZOLV_CORE_ERROR_NOT_PERMIT "Socket power can't be controlled due to
 * function select"; %ZOLV_CORE_ERROR_NOT_SUPPORT "Operation not supported". Of the SIM slot:
 * %ZOLV_CORE_ERROR_NOT_SUPPORT "Socket does not support SIM select". Those of the lines.
 */
struct _ZolvSocketType2Class {
    ZolvSocketClass parent_class;
};

/**
 * zolv_socket_type2_define_modes:
 * @power_mode: 0 not switchable, always on; 1 high is on; 2 low is on
 * @function_select_mode: 0 none; 1 low keeps the power from being switched; 2 high does. The module
 *   counts as on then
 * @sim_mode: 0 no selection; 1 high selects slot 2; 2 low does
 */
ZOLV_API void zolv_socket_type2_define_modes(ZolvSocketType2 *self, guint power_mode,
                                             guint function_select_mode, guint sim_mode);

/** zolv_socket_type2_define_pins: the sysfs numbers of the lines, -1 for one that is not wired.
 * Drives none of them and exports the object; the last call of its definition. */
ZOLV_API void zolv_socket_type2_define_pins(ZolvSocketType2 *self, gint power_pin,
                                            gint function_select_pin, gint sim_pin);

G_END_DECLS
