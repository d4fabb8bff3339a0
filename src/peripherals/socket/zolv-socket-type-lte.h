#pragma once

#include "peripherals/socket/zolv-socket.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SOCKET_TYPE_LTE (zolv_socket_type_lte_get_type())
ZOLV_DECLARE_CLASS(ZolvSocketTypeLTE, zolv_socket_type_lte, SOCKET_TYPE_LTE, ZolvSocket)

/**
 * ZolvSocketTypeLTEClass:
 *
 * As type 6, but without function select, whatever module is in it, and with a SIM line that
 * selects slot 1 low and slot 2 high.
 */
struct _ZolvSocketTypeLTEClass {
    ZolvSocketClass parent_class;
};

/**
 * zolv_socket_type_lte_define_pins:
 * @reset_pin: low lets the module run
 * @power_pin: high is on
 * @wdisable_pin: high keeps the radio silent
 * @alive_pin: high while the module runs
 * @sim_pin: selects the slot
 *
 * The sysfs numbers of the lines, -1 for one that is not wired; for @alive_pin and @sim_pin 0 says
 * so as well. Selects SIM slot 1; a line that cannot be driven is logged.
 */
ZOLV_API void zolv_socket_type_lte_define_pins(ZolvSocketTypeLTE *self, gint reset_pin,
                                               gint power_pin, gint wdisable_pin, gint alive_pin,
                                               gint sim_pin);

/** zolv_socket_type_lte_start: powers the module on from a thread, once, since that may take 21 s.
 * A failure is logged. A call that comes meanwhile may interleave with it. */
ZOLV_API void zolv_socket_type_lte_start(ZolvSocketTypeLTE *self);
/** zolv_socket_type_lte_export: publishes the object on the bus; the last call of its definition.
 */
ZOLV_API void zolv_socket_type_lte_export(ZolvSocketTypeLTE *self);
/** zolv_socket_type_lte_unexport: withdraws it. */
ZOLV_API void zolv_socket_type_lte_unexport(ZolvSocketTypeLTE *self);

G_END_DECLS
