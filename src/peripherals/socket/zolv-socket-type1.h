#pragma once

#include "peripherals/socket/zolv-socket.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SOCKET_TYPE1 (zolv_socket_type1_get_type())
ZOLV_DECLARE_CLASS(ZolvSocketType1, zolv_socket_type1, SOCKET_TYPE1, ZolvSocket)

/**
 * ZolvSocketType1Class:
 *
 * A socket without switches: power and SIM slot are refused with %ZOLV_CORE_ERROR_NOT_PERMIT "Power
 * control is not allowed" and "SIM slot control is not allowed".
 */
struct _ZolvSocketType1Class {
    ZolvSocketClass parent_class;
};

/** zolv_socket_type1_define: exports the object; the last call of its definition. */
ZOLV_API void zolv_socket_type1_define(ZolvSocketType1 *self);

G_END_DECLS
