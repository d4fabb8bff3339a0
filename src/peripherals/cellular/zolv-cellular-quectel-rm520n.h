#pragma once

#include "peripherals/cellular/zolv-cellular.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_CELLULAR_QUECTEL_RM520N (zolv_cellular_quectel_rm520n_get_type())
ZOLV_DECLARE_CLASS(ZolvCellularQuectelRM520N, zolv_cellular_quectel_rm520n, CELLULAR_QUECTEL_RM520N,
                   ZolvCellular)

/**
 * ZolvCellularQuectelRM520NClass:
 *
 * A Quectel RM520N, whose power is switched by lines of its own.
 */
struct _ZolvCellularQuectelRM520NClass {
    ZolvCellularClass parent_class;
};

/**
 * zolv_cellular_quectel_rm520n_define_pin:
 * @power_pin: sysfs number of the line that switches the power; high is on
 * @off_pin: of the line that shuts the module down; high is off
 * @alive_pin: of the line that is not used by this model
 * @wdisable_pin: of the line that keeps the radio silent while it is high
 * @pin4: of a line that is not used
 *
 * -1 is a line that is not wired.
 */
ZOLV_API void zolv_cellular_quectel_rm520n_define_pin(ZolvCellularQuectelRM520N *self,
                                                      gint power_pin, gint off_pin, gint alive_pin,
                                                      gint wdisable_pin, gint pin4);

G_END_DECLS
