#pragma once

#include "zolv-obj.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SERIALPORT (zolv_serialport_get_type())
ZOLV_DECLARE_CLASS(ZolvSerialPort, zolv_serialport, SERIALPORT, ZolvObj)

/** ZolvSerialPortInterface: the interface modes, as numbers on all interfaces. */
typedef enum {
    SERIALPORT_RS232 = 0,
    SERIALPORT_RS485_2W = 1,
    SERIALPORT_RS422 = 2,
    SERIALPORT_RS485_4W = 3,
    SERIALPORT_NO_INTERFACE = 4, /* only ever reported */
} ZolvSerialPortInterface;

/**
 * ZolvSerialPortClass:
 * @check_ready: whether all that a mode switch needs is defined
 * @set_interface: switches the hardware to @mode, which is at most 3 and in the list
 * @get_interface: reads the mode from the hardware
 * @set_pull_up_down: switches the resistors; any @state
 * @set_terminator: switches the bus terminator; any @state
 * @set_pull_up_down_configurable: sets the bus property PullUpDownConfigurable
 * @set_terminator_configurable: sets the bus property TerminatorConfigurable
 *
 * A serial port, whose transceiver can be switched between RS-232, RS-422 and RS-485. Each way in
 * which boards do that is a subclass, which has the first three operations; calling them here ends
 * the process. The switches fail here as not supported.
 *
 * The order of a definition: zolv_serialport_bind_bootenv(), zolv_serialport_init_iostate(), the
 * lists, what the subclass needs, zolv_serialport_define_device(). Whichever makes @check_ready
 * true, the device or the subclass's lines, sets the stored mode and exports the object.
 */
struct _ZolvSerialPortClass {
    ZolvObjClass parent_class;
    gboolean (*check_ready)(ZolvSerialPort *self);
    gboolean (*set_interface)(ZolvSerialPort *self, guint mode, GError **error);
    gboolean (*get_interface)(ZolvSerialPort *self, guint *mode, GError **error);
    gboolean (*set_pull_up_down)(ZolvSerialPort *self, guint state, GError **error);
    gboolean (*set_terminator)(ZolvSerialPort *self, guint state, GError **error);
    void (*set_pull_up_down_configurable)(ZolvSerialPort *self, gboolean configurable);
    void (*set_terminator_configurable)(ZolvSerialPort *self, gboolean configurable);
};

/**
 * ZolvSerialPortIOStateFunc:
 * @user_data: what zolv_serialport_init_iostate() was given
 *
 * Returns: the state at the start: 0 not applicable, 1 disabled, 2 enabled
 */
typedef guint (*ZolvSerialPortIOStateFunc)(ZolvSerialPort *self, gpointer user_data);

/**
 * zolv_serialport_bind_bootenv:
 * @bootenv: name of the variable of the boot environment; copied. %NULL aborts
 *
 * The variable is written when a client asks for a state, and once more at the object's end, where
 * it then differs from what is stored.
 */
ZOLV_API void zolv_serialport_bind_bootenv(ZolvSerialPort *self, const char *bootenv);

/** zolv_serialport_enable_directly: for a port without a variable. Returns: 2 */
ZOLV_API guint zolv_serialport_enable_directly(ZolvSerialPort *self, gpointer user_data);

/** zolv_serialport_enable_by_bootenv: for a port with a variable; without one the process ends.
 * Returns: 2 for "1", 1 for "0", 0 for everything else; failures are logged */
ZOLV_API guint zolv_serialport_enable_by_bootenv(ZolvSerialPort *self, gpointer user_data);

/**
 * zolv_serialport_init_iostate:
 * @callback: one of the two functions above, or one of the plugin's own; called once, at once
 * @user_data: handed to @callback
 *
 * Publishes the state, and stores it unless it is 0. A port that is disabled here refuses its
 * methods until the daemon starts anew.
 */
ZOLV_API void zolv_serialport_init_iostate(ZolvSerialPort *self, ZolvSerialPortIOStateFunc callback,
                                           gpointer user_data);

/** zolv_serialport_is_available: Returns: whether the port is not disabled; one whose state is not
 * applicable is available */
ZOLV_API gboolean zolv_serialport_is_available(ZolvSerialPort *self);

/** zolv_serialport_export: publishes the object on the bus. */
ZOLV_API void zolv_serialport_export(ZolvSerialPort *self);
/** zolv_serialport_unexport: withdraws it. */
ZOLV_API void zolv_serialport_unexport(ZolvSerialPort *self);

/**
 * zolv_serialport_define_supported_interfaces:
 * @count: number of @values; 0 publishes an empty list
 * @values: (array length=count) (nullable): modes 0 to 3; copied. The first is the fallback
 *
 * Publishes the list. A further call publishes its own list, and the port takes the modes of all.
 */
ZOLV_API void zolv_serialport_define_supported_interfaces(ZolvSerialPort *self, guint count,
                                                          const guint *values);

/**
 * zolv_serialport_define_supported_baudrates:
 * @count: number of @values; 0 publishes an empty list
 * @values: (array length=count) (nullable): bits per second; copied
 *
 * Publishes the list. The daemon makes no other use of it, nor of the four below, whose numbers
 * mean what model and clients agree on.
 */
ZOLV_API void zolv_serialport_define_supported_baudrates(ZolvSerialPort *self, guint count,
                                                         const guint *values);
/** zolv_serialport_define_supported_data_bits: the same for the numbers of data bits. */
ZOLV_API void zolv_serialport_define_supported_data_bits(ZolvSerialPort *self, guint count,
                                                         const guint *values);
/** zolv_serialport_define_supported_stop_bits: the same for the stop bits. */
ZOLV_API void zolv_serialport_define_supported_stop_bits(ZolvSerialPort *self, guint count,
                                                         const guint *values);
/** zolv_serialport_define_supported_parities: the same for the parities. */
ZOLV_API void zolv_serialport_define_supported_parities(ZolvSerialPort *self, guint count,
                                                        const guint *values);
/** zolv_serialport_define_supported_flow_controls: the same for the flow controls. */
ZOLV_API void zolv_serialport_define_supported_flow_controls(ZolvSerialPort *self, guint count,
                                                             const guint *values);

/**
 * zolv_serialport_define_pull_up_down:
 * @state: of the pull-up and pull-down resistors: 0 not applicable, 1 off, 2 on
 *
 * Sets the bus property PullUpDown and nothing else: for resistors that software cannot switch.
 */
ZOLV_API void zolv_serialport_define_pull_up_down(ZolvSerialPort *self, guint state);
/** zolv_serialport_define_terminator: the same for the bus terminator and Terminator. */
ZOLV_API void zolv_serialport_define_terminator(ZolvSerialPort *self, guint state);

/**
 * zolv_serialport_define_device:
 * @original_device: the kernel's node, such as "/dev/ttymxc1"
 * @device: the node for programs, such as "/dev/ttyM0"; both are copied
 *
 * Makes @device a link to @original_device unless they are equal, and publishes both; without the
 * link, which is logged, the kernel's node is published twice. Then does
 * zolv_serialport_check_ready_and_init().
 */
ZOLV_API void zolv_serialport_define_device(ZolvSerialPort *self, const char *original_device,
                                            const char *device);

/**
 * zolv_serialport_check_ready_and_init:
 *
 * Does nothing while the port is not ready. Else switches it to the stored mode, or to 0, which is
 * stored, at the first start; where that fails, to the first mode of the list. Exports the object
 * whatever came of it; failures are logged. The definitions of device and lines do this.
 */
ZOLV_API void zolv_serialport_check_ready_and_init(ZolvSerialPort *self);

/** zolv_serialport_get_device: Returns: (transfer none) (nullable): the node for programs */
ZOLV_API const char *zolv_serialport_get_device(ZolvSerialPort *self);
/** zolv_serialport_get_original_device: Returns: (transfer none) (nullable): the kernel's node */
ZOLV_API const char *zolv_serialport_get_original_device(ZolvSerialPort *self);

/**
 * zolv_serialport_set_interface:
 * @mode: a #ZolvSerialPortInterface
 *
 * Switches the hardware; does not store the mode.
 *
 * Errors: %ZOLV_CORE_ERROR_INVAL_ARG above 3; %ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT for a mode that
 * is not in the list; then those of the subclass. What the hardware took before a failure stays.
 *
 * Returns: whether the port was switched
 */
ZOLV_API gboolean zolv_serialport_set_interface(ZolvSerialPort *self, guint mode, GError **error);

/**
 * zolv_serialport_get_interface:
 * @mode: (out): a #ZolvSerialPortInterface; untouched on failure
 *
 * Returns: whether the mode could be read
 */
ZOLV_API gboolean zolv_serialport_get_interface(ZolvSerialPort *self, guint *mode, GError **error);

/**
 * zolv_serialport_set_pull_up_down:
 * @state: 2 on; every other number is taken as it stands and means off
 *
 * Switches the resistors; does not store the state.
 *
 * Errors: %ZOLV_CORE_ERROR_NOT_SUPPORT for a port whose resistors cannot be switched; then those of
 * the subclass
 *
 * Returns: whether they were switched
 */
ZOLV_API gboolean zolv_serialport_set_pull_up_down(ZolvSerialPort *self, guint state,
                                                   GError **error);
/** zolv_serialport_set_terminator: the same for the bus terminator. */
ZOLV_API gboolean zolv_serialport_set_terminator(ZolvSerialPort *self, guint state, GError **error);

/** zolv_serialport_get_pull_up_down: Returns: the published state: 0 not applicable, 1 off, 2 on */
ZOLV_API guint zolv_serialport_get_pull_up_down(ZolvSerialPort *self);
/** zolv_serialport_get_terminator: Returns: the same of the bus terminator */
ZOLV_API guint zolv_serialport_get_terminator(ZolvSerialPort *self);

G_END_DECLS
