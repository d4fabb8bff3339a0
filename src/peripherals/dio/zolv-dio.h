#pragma once

#include "zolv-obj.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_DIO (zolv_dio_get_type())
ZOLV_DECLARE_CLASS(ZolvDIO, zolv_dio, DIO, ZolvObj)

/** ZolvDIOEdge: which change of an input runs its hook. The inputs read inverted: the value falls
 * to 0 when the signal rises. */
typedef enum {
    DIO_NONE_EDGE = 0,
    DIO_RISING_EDGE = 1,
    DIO_FALLING_EDGE = 2,
    DIO_CHANGE_EDGE = 3,
    DIO_LAST_EDGE,
} ZolvDIOEdge;

/** ZolvDIOType: the values of the bus property DeviceType. */
typedef enum {
    DIO_TYPE_UNDEFINED = 0,
    DIO_TYPE_SINGLE_GPIO = 1,
    DIO_TYPE_DUAL_GPIO = 2,
} ZolvDIOType;

/**
 * ZolvDIOClass:
 * @set_state: drives the output; @state is 0 or 1
 * @get_state: reads the level; also called by the thread that watches an input
 * @set_direction: turns the channel; @direction is a #ZolvGpioDirection
 * @get_direction: reads the direction
 * @export_obj: publishes the channel on the bus
 * @unexport_obj: withdraws it
 * @set_device_type: sets the bus property DeviceType
 * @set_gpio_pin: sets the bus property GPIOPin
 * @set_pin_defined: says whether the channel has its lines
 * @set_direction_configurable: sets the bus property DirectionConfigurable
 *
 * A digital input or output on one GPIO line, whose direction the model fixes. A thread samples an
 * input that has hooks every 200 ms, or every DIO_SAMPLING_INTERVAL milliseconds.
 */
struct _ZolvDIOClass {
    ZolvObjClass parent_class;
    gboolean (*set_state)(ZolvDIO *self, guint state, GError **error);
    gboolean (*get_state)(ZolvDIO *self, guint *state, GError **error);
    gboolean (*set_direction)(ZolvDIO *self, guint direction, GError **error);
    gboolean (*get_direction)(ZolvDIO *self, guint *direction, GError **error);
    void (*export_obj)(ZolvDIO *self);
    void (*unexport_obj)(ZolvDIO *self);
    void (*set_device_type)(ZolvDIO *self, guint device_type);
    void (*set_gpio_pin)(ZolvDIO *self, int pin);
    void (*set_pin_defined)(ZolvDIO *self, gboolean defined);
    void (*set_direction_configurable)(ZolvDIO *self, gboolean configurable);
};

/**
 * zolv_dio_define_gpio:
 * @pin: sysfs number of the line, 0 or more
 * @direction: a #ZolvGpioDirection
 *
 * Gives the line its direction where it has another one, and exports the object. What fails is
 * logged and does not stop the definition.
 */
ZOLV_API void zolv_dio_define_gpio(ZolvDIO *self, int pin, guint direction);

/**
 * zolv_dio_define_hook:
 *
 * Gives an input its hooks, after the definition of its line: event and hook are taken from the
 * settings, a script of the old form is converted, and the watching begins. An output is left as it
 * is. A stored event that is none aborts.
 */
ZOLV_API void zolv_dio_define_hook(ZolvDIO *self);

/**
 * zolv_dio_set_state:
 * @state: 0 or 1
 *
 * Drives an output. The level is not kept over a restart of the daemon.
 *
 * Errors: %ZOLV_CORE_ERROR_INVAL_ARG above 1; %ZOLV_CORE_ERROR_PERIPH_NOT_READY before the
 * definition; %ZOLV_CORE_ERROR_NOT_PERMIT for an input; that of the failed write.
 *
 * Returns: whether the output was driven
 */
ZOLV_API gboolean zolv_dio_set_state(ZolvDIO *self, guint state, GError **error);

/**
 * zolv_dio_get_state:
 * @state: (out): 0 or 1; untouched on failure
 *
 * Errors: %ZOLV_CORE_ERROR_PERIPH_NOT_READY before the definition; of one line
 * %ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE when it cannot be read, of two lines that of the read.
 *
 * Returns: whether the level was read
 */
ZOLV_API gboolean zolv_dio_get_state(ZolvDIO *self, guint *state, GError **error);

/**
 * zolv_dio_set_direction:
 * @direction: a #ZolvGpioDirection; any other aborts
 *
 * The direction that the channel has already is always accepted.
 *
 * Errors: %ZOLV_CORE_ERROR_NOT_PERMIT while the event is not %DIO_NONE_EDGE;
 * %ZOLV_CORE_ERROR_NOT_SUPPORT when the model fixes the direction; %ZOLV_CORE_ERROR_DEVICE_IO when
 * the output cannot be released.
 *
 * Returns: whether the channel has the direction now
 */
ZOLV_API gboolean zolv_dio_set_direction(ZolvDIO *self, guint direction, GError **error);

/**
 * zolv_dio_get_direction:
 * @direction: (out): a #ZolvGpioDirection; untouched on failure
 *
 * Errors: %ZOLV_CORE_ERROR_PERIPH_NOT_READY before the definition; that of the failed read.
 *
 * Returns: whether the direction was read
 */
ZOLV_API gboolean zolv_dio_get_direction(ZolvDIO *self, guint *direction, GError **error);

/**
 * zolv_dio_set_event:
 * @event: a #ZolvDIOEdge
 *
 * Chooses the changes that run the hook, from the next sample on, and stores the choice.
 *
 * Errors: %ZOLV_CORE_ERROR_NOT_SUPPORT unless the channel is an input; %ZOLV_CORE_ERROR_INVAL_ARG
 * for any other event.
 *
 * Returns: whether the event was set
 */
ZOLV_API gboolean zolv_dio_set_event(ZolvDIO *self, guint event, GError **error);

/**
 * zolv_dio_reload:
 *
 * Converts a script of the old form, and deselects a hook that is gone. What fails is logged.
 *
 * Returns: %TRUE
 */
ZOLV_API gboolean zolv_dio_reload(ZolvDIO *self, GError **error);

/*
 * Hooks are executable files in "/etc/tarvel/TarvelPerimond/dio-scripts", shared by all inputs: a
 * hook named N is a script and the symbolic link "N.hook" to it. The link exists exactly if the
 * hook does. The daemon runs the link, without arguments, with its own rights and environment.
 */

/**
 * zolv_dio_add_hook:
 * @hook_name: up to 31 ASCII letters, digits, "-" and "_"; not "none"
 * @src_hook_script: path of the regular file to install, or of a link to one
 *
 * Installs a hook under its name, with a copy of the script that has its base name. No input
 * selects it yet. A script that cannot be copied within 5 s is refused. A failure after the copy
 * leaves the copy behind.
 *
 * Errors: %ZOLV_CORE_ERROR_NOT_SUPPORT unless the channel is an input; %ZOLV_CORE_ERROR_INVAL_ARG
 * when the script is missing, or the name, its link's place or the base name is in use;
 * %ZOLV_CORE_ERROR_INVAL_FILE_ATTR, %ZOLV_CORE_ERROR_INVAL_FILE_TYPE for a file that cannot be
 * examined or is not regular; %ZOLV_CORE_ERROR_INVAL_FILE_NAME for another name;
 * %ZOLV_CORE_ERROR_FAILED for a failed step.
 *
 * Returns: whether the hook was installed
 */
ZOLV_API gboolean zolv_dio_add_hook(ZolvDIO *self, const char *hook_name,
                                    const char *src_hook_script, GError **error);

/**
 * zolv_dio_delete_hook:
 * @hook_name: name of a hook that no input selects
 *
 * Deletes a hook and its script, wherever that lies.
 *
 * Errors: %ZOLV_CORE_ERROR_NOT_SUPPORT unless the channel is an input; %ZOLV_CORE_ERROR_INVAL_ARG
 * when there is no such hook or its script is missing; %ZOLV_CORE_ERROR_NOT_PERMIT while an input
 * selects it, and for a link made by hand since the start; those of the file system.
 *
 * Returns: whether the hook was deleted
 */
ZOLV_API gboolean zolv_dio_delete_hook(ZolvDIO *self, const char *hook_name, GError **error);

/**
 * zolv_dio_list_hook:
 * @hooks: (out) (transfer full): dictionary of type a{ss}, from hook name to script path
 *
 * Errors: that of the file system when the directory cannot be listed.
 *
 * Returns: whether the directory was listed
 */
ZOLV_API gboolean zolv_dio_list_hook(GVariant **hooks, GError **error);

/**
 * zolv_dio_set_hook:
 * @hook_name: name of a hook, or "none"
 *
 * Selects the hook of an input, from the next sample on, and stores the selection. A link made by
 * hand since the start is stored only: it is armed by the next start.
 *
 * Errors: %ZOLV_CORE_ERROR_NOT_SUPPORT unless the channel is an input; %ZOLV_CORE_ERROR_INVAL_ARG
 * when there is no such hook; %ZOLV_CORE_ERROR_NOT_PERMIT for "none" when none is selected.
 *
 * Returns: whether the hook was selected
 */
ZOLV_API gboolean zolv_dio_set_hook(ZolvDIO *self, const char *hook_name, GError **error);

G_END_DECLS
