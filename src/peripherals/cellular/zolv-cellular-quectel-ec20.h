#pragma once

#include "peripherals/cellular/zolv-cellular.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_CELLULAR_QUECTEL_EC20 (zolv_cellular_quectel_ec20_get_type())
ZOLV_DECLARE_CLASS(ZolvCellularQuectelEC20, zolv_cellular_quectel_ec20, CELLULAR_QUECTEL_EC20,
                   ZolvCellular)

/**
 * ZolvCellularQuectelEC20Class:
 *
 * A Quectel EC20. It needs no command before its power is cut.
 */
struct _ZolvCellularQuectelEC20Class {
    ZolvCellularClass parent_class;
};

G_END_DECLS
