#include "peripherals/cellular/zolv-cellular-telit-le910c4wwx.h"

#include "core/zolv-class.h"
#include "peripherals/cellular/zolv-cellular-models.h"

struct _ZolvCellularTelitLE910C4WWXPrivate {};

ZOLV_DEFINE_CLASS(ZolvCellularTelitLE910C4WWX, zolv_cellular_telit_le910c4wwx, ZOLV_TYPE_CELLULAR)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Cellular");
    zolv::define_cellular_model<zolv::telit_le910c4wwx>(ZOLV_CELLULAR_CLASS(klass));
}
