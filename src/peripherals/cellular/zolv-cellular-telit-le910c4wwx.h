#pragma once

#include "peripherals/cellular/zolv-cellular.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_CELLULAR_TELIT_LE910C4WWX (zolv_cellular_telit_le910c4wwx_get_type())
ZOLV_DECLARE_CLASS(ZolvCellularTelitLE910C4WWX, zolv_cellular_telit_le910c4wwx,
                   CELLULAR_TELIT_LE910C4WWX, ZolvCellular)

/**
 * ZolvCellularTelitLE910C4WWXClass:
 *
 * A Telit LE910C4-WWX.
 */
struct _ZolvCellularTelitLE910C4WWXClass {
    ZolvCellularClass parent_class;
};

G_END_DECLS
