#pragma once

#include "peripherals/socket/zolv-socket.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SOCKET_TYPE_5G (zolv_socket_type_5g_get_type())
ZOLV_DECLARE_CLASS(ZolvSocketType5G, zolv_socket_type_5g, SOCKET_TYPE_5G, ZolvSocket)

/**
 * ZolvSocketType5GClass:
 *
 * A socket for one of two 5G modules, which switch their own power by lines of the socket; which
 * one is fitted is told by lines. All about the power is up to the module. Errors: without one,
 * %ZOLV_CORE_ERROR_NOT_PERMIT "Cellular is not bound" for switching and
 * %ZOLV_CORE_ERROR_PERIPH_NOT_FOUND "Cellular is not bound" for reading;
 * %ZOLV_CORE_ERROR_NOT_SUPPORT "Operation not supported" for a module that has no such lines;
 * %ZOLV_CORE_ERROR_NOT_PERMIT "SIM slot control is not allowed".
 *
 * The order of a definition: zolv_socket_define_cellular_name(),
 * zolv_socket_type_5g_define_module(), zolv_socket_type_5g_define_pins(), where there is a module
 * zolv_socket_type_5g_create_module() and zolv_socket_type_5g_start(),
 * zolv_socket_type_5g_export().
 */
struct _ZolvSocketType5GClass {
    ZolvSocketClass parent_class;
};

/**
 * zolv_socket_type_5g_define_module:
 * @count: number of @pins, at most 31
 * @pins: (array length=count): lines whose levels make a number, the first one its lowest bit: 12
 * for a Telit FN990, 13 for a Quectel RM520N
 *
 * A line that cannot be read ends the process.
 *
 * Returns: whether one of these modules is fitted
 */
ZOLV_API gboolean zolv_socket_type_5g_define_module(ZolvSocketType5G *self, guint count,
                                                    const gint *pins);

/**
 * zolv_socket_type_5g_define_pins:
 * @table: (array zero-terminated=0): pairs of a module's number and the pin2 that it is wired to,
 *   ended by the number -1
 *
 * The lines that the module is given, as pin0 to pin4 of its own definition: -1 for one that is not
 * wired.
 */
ZOLV_API void zolv_socket_type_5g_define_pins(ZolvSocketType5G *self, gint pin0, gint pin1,
                                              gint pin3, gint pin4, const gint *table);

/** zolv_socket_type_5g_create_module: makes the object of the module that was found to be fitted,
 * which there must be, and gives it its lines. It is on the bus once it is recognised. */
ZOLV_API void zolv_socket_type_5g_create_module(ZolvBaseManager *manager, ZolvSocketType5G *self);

/** zolv_socket_type_5g_start: powers the module on from a thread, once, since that may take 10 s. A
 * failure is logged. A call that comes meanwhile may interleave with it. */
ZOLV_API void zolv_socket_type_5g_start(ZolvSocketType5G *self);
/** zolv_socket_type_5g_export: publishes the object on the bus; the last call of its definition. */
ZOLV_API void zolv_socket_type_5g_export(ZolvSocketType5G *self);
/** zolv_socket_type_5g_unexport: withdraws it. */
ZOLV_API void zolv_socket_type_5g_unexport(ZolvSocketType5G *self);

G_END_DECLS
