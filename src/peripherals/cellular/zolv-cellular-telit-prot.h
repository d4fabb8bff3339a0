#pragma once

#include "peripherals/cellular/zolv-cellular.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_CELLULAR_TELIT_PROT (zolv_cellular_telit_prot_get_type())
ZOLV_DECLARE_CLASS(ZolvCellularTelitPROT, zolv_cellular_telit_prot, CELLULAR_TELIT_PROT,
                   ZolvCellular)

/**
 * ZolvCellularTelitPROTClass:
 * @recover: brings the module in @socket out of its protection mode: by a power cycle or, when
 * those are spent, by a restart of the computer. What may still be spent is kept across restarts.
 * Returns: whether anything was done; %FALSE when all is spent
 *
 * A Telit module that has come up in its protection mode. It is not on the bus.
 */
struct _ZolvCellularTelitPROTClass {
    ZolvCellularClass parent_class;
    gboolean (*recover)(ZolvCellularTelitPROT *self, ZolvSocket *socket);
};

G_END_DECLS
