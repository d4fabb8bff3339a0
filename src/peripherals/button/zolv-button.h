#pragma once

#include "zolv-obj.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_BUTTON (zolv_button_get_type())
ZOLV_DECLARE_CLASS(ZolvButton, zolv_button, BUTTON, ZolvObj)

/**
 * ZolvButtonClass:
 *
 * A push button that the kernel shows as an input event device. The script of its selected action
 * is started as "SCRIPT press 0", "SCRIPT hold N" after each second N, and "SCRIPT release N" with
 * the seconds that the button was held.
 *
 * An action is a symbolic link "NAME.action" in "/etc/tarvel/TarvelPerimond/button-scripts"; what
 * it leads to is the script. All buttons share the actions. Reserved ones can be neither replaced
 * nor deleted; "user-defined" is always one of them and leads to "custom.script" in the same
 * folder. "disabled" is no action: the button is not watched at all. A name has at most 31
 * characters.
 *
 * The order of a definition: zolv_button_define_reserved_action_script(),
 * zolv_button_define_default_script(), zolv_button_define_device().
 */
struct _ZolvButtonClass {
    ZolvObjClass parent_class;
};

/**
 * zolv_button_define_reserved_action_script:
 * @script: base name of a script in the folder of the actions
 * @action_name: the action's name; cut after 31 characters
 *
 * Makes the action, and reserves its name. A script that does not exist is only logged.
 */
ZOLV_API void zolv_button_define_reserved_action_script(ZolvButton *self, const char *script,
                                                        const char *action_name);

/**
 * zolv_button_define_default_script:
 * @script: base name of a script in the folder of the actions
 * @action_name: the action's name; cut after 31 characters
 *
 * zolv_button_define_reserved_action_script() for the action that the button has until another one
 * is selected.
 */
ZOLV_API void zolv_button_define_default_script(ZolvButton *self, const char *script,
                                                const char *action_name);

/**
 * zolv_button_define_device:
 * @device: the device node, such as "/dev/input/event0"; copied
 *
 * Selects the action that the settings name, else the default one, starts to read the device and
 * exports the object; the last call of a button's definition. A device that cannot be read is
 * logged, and is tried again when an action is selected.
 */
ZOLV_API void zolv_button_define_device(ZolvButton *self, const char *device);

/** zolv_button_stop_service: stops reading the device, until an action is selected.
 * Returns: TRUE */
ZOLV_API gboolean zolv_button_stop_service(ZolvButton *self);

/**
 * zolv_button_get_action:
 * @action_name: (out) (transfer none): the selected action, "disabled", or the empty string as long
 *   as none could be selected; valid until another one is selected
 *
 * Returns: TRUE
 */
ZOLV_API gboolean zolv_button_get_action(ZolvButton *self, const char **action_name);

/**
 * zolv_button_set_action:
 * @action_name: an action, or "disabled"
 *
 * Selects the action, keeps the choice in the settings, and starts reading the device anew. An
 * action whose link was made by hand since the start of the daemon leaves the button without a
 * script.
 *
 * Errors: %ZOLV_CORE_ERROR_INVAL_ARG for an unknown action; %ZOLV_CORE_ERROR_SYSTEM if the device
 * cannot be read for want of a thread: the action is selected then, too
 *
 * Returns: whether the action was selected and the device is read
 */
ZOLV_API gboolean zolv_button_set_action(ZolvButton *self, const char *action_name, GError **error);

/**
 * zolv_button_add_action:
 * @action_name: unique name, of ASCII letters, digits, "-" and "_"
 * @src_action_script: path of a regular file
 *
 * Copies the script into the folder of the actions, under its own base name and with mode 0755,
 * and makes the action. A failure after the copy leaves the copy behind.
 *
 * Errors: %ZOLV_CORE_ERROR_INVAL_ARG for a script that does not exist, and for a name, a place
 * of its link or a base name that is taken; %ZOLV_CORE_ERROR_INVAL_FILE_ATTR for a script without a
 * status; %ZOLV_CORE_ERROR_INVAL_FILE_TYPE for one that is no regular file;
 * %ZOLV_CORE_ERROR_INVAL_FILE_NAME for a name that is too long, has other characters or is
 * reserved; %ZOLV_CORE_ERROR_FAILED when the installation fails
 *
 * Returns: whether the action was made
 */
ZOLV_API gboolean zolv_button_add_action(ZolvButton *self, const char *action_name,
                                         const char *src_action_script, GError **error);

/**
 * zolv_button_delete_action:
 * @action_name: an action that no button selects
 *
 * Deletes the action's link and its script, wherever that lies.
 *
 * Errors: %ZOLV_CORE_ERROR_INVAL_ARG for a reserved or unknown name; %ZOLV_CORE_ERROR_NOT_PERMIT
 * for one that a button selects; %ZOLV_CORE_ERROR_FAILED for a script that does not exist; those of
 * GIO for files that cannot be deleted
 *
 * Returns: whether the action is gone
 */
ZOLV_API gboolean zolv_button_delete_action(ZolvButton *self, const char *action_name,
                                            GError **error);

/**
 * zolv_button_list_action:
 * @list: (out) (transfer full): "a(sbs)": name, whether it is reserved, script
 *
 * Errors: those of g_file_enumerate_children() for the folder of the actions
 *
 * Returns: whether the actions could be listed
 */
ZOLV_API gboolean zolv_button_list_action(GVariant **list, GError **error);

G_END_DECLS
