#pragma once

#include "peripherals/cellular/zolv-cellular.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_CELLULAR_TELIT_FN990 (zolv_cellular_telit_fn990_get_type())
ZOLV_DECLARE_CLASS(ZolvCellularTelitFN990, zolv_cellular_telit_fn990, CELLULAR_TELIT_FN990,
                   ZolvCellular)

/**
 * ZolvCellularTelitFN990Class:
 *
 * A Telit FN990, whose power is switched by lines of its own.
 */
struct _ZolvCellularTelitFN990Class {
    ZolvCellularClass parent_class;
};

/**
 * zolv_cellular_telit_fn990_define_pin:
 * @power_pin: sysfs number of the line that switches the power; high is on
 * @off_pin: of the line that shuts the module down; high is off
 * @alive_pin: of the line that goes high when the module runs, low when it has ended
 * @wdisable_pin: of the line that keeps the radio silent while it is high
 * @pin4: of a line that is not used
 *
 * -1 is a line that is not wired.
 */
ZOLV_API void zolv_cellular_telit_fn990_define_pin(ZolvCellularTelitFN990 *self, gint power_pin,
                                                   gint off_pin, gint alive_pin, gint wdisable_pin,
                                                   gint pin4);

G_END_DECLS
