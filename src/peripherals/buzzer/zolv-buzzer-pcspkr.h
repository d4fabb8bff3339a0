#pragma once

#include "peripherals/buzzer/zolv-buzzer.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_BUZZER_PCSPKR (zolv_buzzer_pcspkr_get_type())
ZOLV_DECLARE_CLASS(ZolvBuzzerPcspkr, zolv_buzzer_pcspkr, BUZZER_PCSPKR, ZolvBuzzer)

/**
 * ZolvBuzzerPcspkrClass:
 *
 * A buzzer behind an input device that takes tones, as the kernel's PC speaker driver makes one;
 * it sounds at 440 Hz, and is silent from the object's end on.
 */
struct _ZolvBuzzerPcspkrClass {
    ZolvBuzzerClass parent_class;
};

/**
 * zolv_buzzer_pcspkr_define:
 * @devfile: the device node, such as "/dev/input/event1"; copied. A path that does not exist is
 *   created as a plain file where its folder allows that
 *
 * Silences the buzzer and exports the object; the last call of its definition, also for a device
 * that has come back. Where the node cannot be opened, a warning is logged and the object stays
 * off the bus.
 *
 * Setting the state fails with %ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL while the node cannot be opened.
 */
ZOLV_API void zolv_buzzer_pcspkr_define(ZolvBuzzerPcspkr *self, const char *devfile);

/** zolv_buzzer_pcspkr_remove: silences the buzzer, forgets the device node and withdraws the object
 * from the bus; for an input device that goes away. */
ZOLV_API void zolv_buzzer_pcspkr_remove(ZolvBuzzerPcspkr *self);

G_END_DECLS
