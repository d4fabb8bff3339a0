#pragma once

#include "peripherals/socket/zolv-socket.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SOCKET_TYPE3 (zolv_socket_type3_get_type())
ZOLV_DECLARE_CLASS(ZolvSocketType3, zolv_socket_type3, SOCKET_TYPE3, ZolvSocket)

/**
 * ZolvSocketType3Class:
 *
 * A socket with a line that switches the power off, and a reset pulse of 1 s that follows switching
 * on. A SIM line selects slot 1 low and slot 2 high. Errors are those of the lines.
 */
struct _ZolvSocketType3Class {
    ZolvSocketClass parent_class;
};

/**
 * zolv_socket_type3_define_pins:
 * @pin0: with @pin1 and @pin2 a line that is to be low
 *
 * The sysfs numbers of the lines, -1 for one that is not wired. Selects SIM slot 1, switches the
 * power on, which takes 1 s, and exports the object; the last call of its definition. A line that
 * cannot be driven is logged and does not keep the others from being driven.
 */
ZOLV_API void zolv_socket_type3_define_pins(ZolvSocketType3 *self, gint pin0, gint pin1, gint pin2,
                                            gint reset_pin, gint power_off_pin, gint sim_pin);

G_END_DECLS
