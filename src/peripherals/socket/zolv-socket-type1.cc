#include "peripherals/socket/zolv-socket-type1.h"

#include "core/zolv-class.h"
#include "peripherals/socket/zolv-socket-internal.h"

struct _ZolvSocketType1Private {};

ZOLV_DEFINE_CLASS(ZolvSocketType1, zolv_socket_type1, ZOLV_TYPE_SOCKET)
{
    ZolvSocketClass *socket_class = ZOLV_SOCKET_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Socket");
    socket_class->set_power = zolv::refuse_set_power;
    socket_class->get_power = zolv::refuse_get_power;
    socket_class->set_sim_slot = zolv::refuse_set_sim_slot;
    socket_class->get_sim_slot = zolv::refuse_get_sim_slot;
}

void
zolv_socket_type1_define(ZolvSocketType1 *self)
{
    zolv_obj_export(ZOLV_OBJ(self));
}
