#pragma once

#include "zolv-api.h"

G_BEGIN_DECLS

/**
 * ZolvHelperUinput:
 * @gpio: sysfs number of the line; a low level is a pressed key
 * @name: the input device's name, of which 79 bytes are used
 * @thread: for these functions alone; %NULL at first
 * @running: for these functions alone; 0 at first
 *
 * A key that a GPIO line makes of itself. It belongs to the plugin, and stays where it is until
 * zolv_helper_uinput_destroy() has returned.
 */
typedef struct {
    gint32 gpio;
    const char *name;
    gpointer thread;
    gint32 running;
} ZolvHelperUinput;

/**
 * zolv_helper_uinput_create:
 *
 * Makes a Linux input device with the one key BTN_0, which a thread presses and releases as the
 * line goes low and high; the line must be able to interrupt. Nothing happens where the line cannot
 * be read, or for a key that runs already. What fails later is logged and ends the key.
 */
ZOLV_API void zolv_helper_uinput_create(ZolvHelperUinput *record);

/** zolv_helper_uinput_destroy: takes the device away. It stays for a second more, so that its
 * readers see the last event; this call takes as long. */
ZOLV_API void zolv_helper_uinput_destroy(ZolvHelperUinput *record);

G_END_DECLS
