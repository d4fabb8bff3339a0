#include "peripherals/cellular/zolv-cellular-telit-le910.h"

#include "core/zolv-class.h"
#include "core/zolv-obj-log.h"
#include "peripherals/cellular/zolv-cellular-models.h"
#include "peripherals/cellular/zolv-recovery-budget.h"

struct _ZolvCellularTelitLE910Private {};

/* The line says the contrary of what has happened, and is known so. */
static void
clear_record(ZolvObj *self)
{
    if (zolv::RecoveryBudget::clear())
        ZOLV_OBJ_DEBUG(self, "Failed to clear record or no record");
}

ZOLV_DEFINE_CLASS(ZolvCellularTelitLE910, zolv_cellular_telit_le910, ZOLV_TYPE_CELLULAR)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Cellular");
    zolv::define_cellular_model<zolv::telit_le910>(ZOLV_CELLULAR_CLASS(klass));
    /* Not before the object has its id. */
    G_OBJECT_CLASS(klass)->constructed = [](GObject *object) {
        G_OBJECT_CLASS(zolv_cellular_telit_le910_parent_class)->constructed(object);
        clear_record(ZOLV_OBJ(object));
    };
}
