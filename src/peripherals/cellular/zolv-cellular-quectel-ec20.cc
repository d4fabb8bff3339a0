#include "peripherals/cellular/zolv-cellular-quectel-ec20.h"

#include "core/zolv-class.h"
#include "peripherals/cellular/zolv-cellular-models.h"

struct _ZolvCellularQuectelEC20Private {};

ZOLV_DEFINE_CLASS(ZolvCellularQuectelEC20, zolv_cellular_quectel_ec20, ZOLV_TYPE_CELLULAR)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Cellular");
    zolv::define_cellular_model<zolv::quectel_ec20>(ZOLV_CELLULAR_CLASS(klass));
}
