#pragma once

#include "peripherals/socket/zolv-socket.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SOCKET_TYPE5 (zolv_socket_type5_get_type())
ZOLV_DECLARE_CLASS(ZolvSocketType5, zolv_socket_type5, SOCKET_TYPE5, ZolvSocket)

/**
 * ZolvSocketType5Class:
 *
 * As type 4, but the power is read from a line of its own, the modem is waited for 30 s, and the
 * SIM slot is refused with %ZOLV_CORE_ERROR_NOT_PERMIT "SIM slot control is not allowed".
 */
struct _ZolvSocketType5Class {
    ZolvSocketClass parent_class;
};

/** zolv_socket_type5_deactivate_pwr_off: from now on the power is not switched:
 * %ZOLV_CORE_ERROR_NOT_PERMIT "Power control is not allowed". It can still be read. */
ZOLV_API void zolv_socket_type5_deactivate_pwr_off(ZolvSocketType5 *self);

/**
 * zolv_socket_type5_define_pins:
 * @power_pin: high is on
 * @power_status_pin: reads high while the module has power
 * @pin2: is to be low
 * @wdisable_pin: high keeps the radio silent
 *
 * The sysfs numbers of the lines, -1 for one that is not wired. Powers the module on and exports
 * the object; the last call of its definition. A line that cannot be driven is logged and does not
 * keep the others from being driven.
 */
ZOLV_API void zolv_socket_type5_define_pins(ZolvSocketType5 *self, gint power_pin,
                                            gint power_status_pin, gint pin2, gint wdisable_pin);

G_END_DECLS
