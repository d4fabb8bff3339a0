#pragma once

#include "zolv-obj.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_CONSOLE (zolv_console_get_type())
ZOLV_DECLARE_CLASS(ZolvConsole, zolv_console, CONSOLE, ZolvObj)

/**
 * ZolvConsoleClass:
 *
 * The serial console: its device, and whether it is switched on. That is owned by a variable of the
 * boot loader's environment, "1" or "0": read at the start, and written for the next boot when a
 * client asks for a change.
 *
 * The order of a definition: zolv_console_bind_bootenv(), zolv_console_init_iostate(),
 * zolv_console_define_device().
 */
struct _ZolvConsoleClass {
    ZolvObjClass parent_class;
};

/**
 * ZolvConsoleIOStateFunc:
 * @user_data: what zolv_console_init_iostate() was given
 *
 * Returns: the state at the start: 0 not applicable, 1 disabled, 2 enabled
 */
typedef guint (*ZolvConsoleIOStateFunc)(ZolvConsole *self, gpointer user_data);

/**
 * zolv_console_bind_bootenv:
 * @bootenv: (nullable): name of the variable; copied. %NULL binds none
 *
 * The variable is written when a client asks for a state, and once more at the object's end, where
 * it then differs from what is stored.
 */
ZOLV_API void zolv_console_bind_bootenv(ZolvConsole *self, const char *bootenv);

/** zolv_console_enable_directly: for a console without a variable. Returns: 2 */
ZOLV_API guint zolv_console_enable_directly(ZolvConsole *self, gpointer user_data);

/** zolv_console_enable_by_bootenv: for a console with a variable; without one the process ends.
 * Returns: 2 for "1", 1 for "0", 0 for everything else; failures are logged */
ZOLV_API guint zolv_console_enable_by_bootenv(ZolvConsole *self, gpointer user_data);

/**
 * zolv_console_init_iostate:
 * @callback: one of the two functions above, or one of the plugin's own; called once, at once
 * @user_data: handed to @callback
 *
 * Publishes the state, and stores it unless it is 0.
 */
ZOLV_API void zolv_console_init_iostate(ZolvConsole *self, ZolvConsoleIOStateFunc callback,
                                        gpointer user_data);

/** zolv_console_is_available: Returns: whether the console is not disabled; one whose state is not
 * applicable is available */
ZOLV_API gboolean zolv_console_is_available(ZolvConsole *self);

/** zolv_console_export: publishes the object on the bus. */
ZOLV_API void zolv_console_export(ZolvConsole *self);
/** zolv_console_unexport: withdraws it. */
ZOLV_API void zolv_console_unexport(ZolvConsole *self);

/**
 * zolv_console_define_device:
 * @device: the device's name, such as "/dev/ttyS0"; copied
 *
 * Sets the bus property Device and exports the object; the last call of a console's definition.
 */
ZOLV_API void zolv_console_define_device(ZolvConsole *self, const char *device);

G_END_DECLS
