#pragma once

#include "zolv-base-manager.h"
#include <gudev/gudev.h>

G_BEGIN_DECLS

/* What a model plugin implements: a shared library named libzolv-model-<model>.so in the daemon's
 * plugin directory, chosen by the model name in the boot environment. All three must be there. A
 * plugin registers no GTypes of its own: it is unloaded at the end. */

/** platform_init: called once, when the bus name is owned and before any device event; creates,
 * describes and exports the objects that are always there. */
ZOLV_API void platform_init(ZolvBaseManager *manager);

/** platform_shutdown: called once, while the objects are still there; also for a daemon that could
 * not own its bus name and so never called platform_init(). */
ZOLV_API void platform_shutdown(ZolvBaseManager *manager);

/**
 * uevent_handler:
 * @action: "add", "remove", "change", ...
 * @device: (transfer none): the device
 *
 * Called with "add" for every device of the system at the start, and for every later event of the
 * subsystems usb, usbmisc, tty, net, block, input and mdio_bus, in the kernel's order.
 */
ZOLV_API void uevent_handler(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device);

G_END_DECLS
