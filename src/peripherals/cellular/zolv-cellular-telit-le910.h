#pragma once

#include "peripherals/cellular/zolv-cellular.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_CELLULAR_TELIT_LE910 (zolv_cellular_telit_le910_get_type())
ZOLV_DECLARE_CLASS(ZolvCellularTelitLE910, zolv_cellular_telit_le910, CELLULAR_TELIT_LE910,
                   ZolvCellular)

/**
 * ZolvCellularTelitLE910Class:
 *
 * A Telit LE910. It is what a module becomes that was in its protection mode: with the object the
 * record of what its recovery may spend is cleared.
 */
struct _ZolvCellularTelitLE910Class {
    ZolvCellularClass parent_class;
};

G_END_DECLS
