#include "peripherals/serialport/zolv-serialport.h"

#include "core/zolv-assert.h"
#include "core/zolv-bus-call.h"
#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "helpers/zolv-helpers-common.h"
#include "helpers/zolv-setting.h"
#include "peripherals/serialport/zolv-serial-ioctl.h"
#include "peripherals/serialport/zolv-serialport-internal.h"
#include "peripherals/zolv-io-state.h"

#include <algorithm>
#include <span>
#include <vector>

namespace {

constexpr zolv::SwitchRules pull_up_down_rules = {
    .key = "PullUpDown",
    .property = "pull-up-down",
    .name = "pull up/down",
    .disabled = {TVL_LOG_ERROR, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL,
                 "Cannot set pull up/down for disabled SerialPort"},
    .absent = {TVL_LOG_DEBUG, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL,
               "Cannot set pull up/down for not applicable device"},
};
constexpr zolv::SwitchRules terminator_rules = {
    .key = "Terminator",
    .property = "terminator",
    .name = "terminator",
    .disabled = {TVL_LOG_ERROR, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL,
                 "Cannot set terminator for disabled SerialPort"},
    .absent = {TVL_LOG_DEBUG, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL,
               "Cannot set terminator for not applicable device"},
};

zolv::VariantPtr
list_of(guint count, const guint *values)
{
    return zolv::VariantPtr(g_variant_ref_sink(
        g_variant_new_fixed_array(G_VARIANT_TYPE_UINT32, values, count, sizeof *values)));
}

} // namespace

struct _ZolvSerialPortPrivate {
    explicit _ZolvSerialPortPrivate(ZolvSerialPort *self);

    /* As it was at the start: a port that is switched off later works until the next one. */
    bool disabled() const { return io_state.at_start() == zolv::IoState::disabled; }

    zolv::ObjectPtr<ZolvGdbusObjSerialPort> skeleton{zolv_gdbus_obj_serial_port_skeleton_new()};
    std::vector<guint> interfaces; /* each once; the first is the fallback */
    zolv::Setting<guint> interface;
    zolv::StoredSwitch pull_up_down;
    zolv::StoredSwitch terminator;
    zolv::IoState io_state;
};

static bool
set_allowed_interface(ZolvSerialPort *self, guint mode, zolv::BusCall &call)
{
    if (self->priv->disabled())
        return call.refuse(TVL_LOG_ERROR, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL,
                           "Cannot set interface for disabled SerialPort");
    return zolv_serialport_set_interface(self, mode, call.error());
}

static gboolean
handle_set_interface(ZolvGdbusObjSerialPort *skeleton, GDBusMethodInvocation *invocation,
                     guint mode, ZolvSerialPort *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "SetInterface(%d)",
                       static_cast<int>(mode));

    if (set_allowed_interface(self, mode, call)) {
        GDBusMethodInvocation *reply = call.ok();
        self->priv->interface.store(mode);
        zolv_gdbus_obj_serial_port_complete_set_interface(skeleton, reply);
    }
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

/* A disabled port answers, and its line names the other method: clients and tools know both. */
static gboolean
handle_get_interface(ZolvGdbusObjSerialPort *skeleton, GDBusMethodInvocation *invocation,
                     ZolvSerialPort *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "GetInterface()");
    guint mode = SERIALPORT_NO_INTERFACE;

    if (self->priv->disabled()) {
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_DEBUG,
                     "SetInterface() failed: Cannot get interface for disabled SerialPort");
        zolv_gdbus_obj_serial_port_complete_get_interface(skeleton, call.take(), mode);
    } else if (zolv_serialport_get_interface(self, &mode, call.error())) {
        zolv_gdbus_obj_serial_port_complete_get_interface(
            skeleton, call.ok(", interface=%d", static_cast<int>(mode)), mode);
    }
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_set_pull_up_down(ZolvGdbusObjSerialPort *skeleton, GDBusMethodInvocation *invocation,
                        guint state, ZolvSerialPort *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "SetPullUpDown(%d)",
                       static_cast<int>(state));

    if (self->priv->pull_up_down.allows(call, self->priv->disabled()) &&
        zolv_serialport_set_pull_up_down(self, state, call.error())) {
        GDBusMethodInvocation *reply = call.ok();
        self->priv->pull_up_down.store(state);
        zolv_gdbus_obj_serial_port_complete_set_pull_up_down(skeleton, reply);
    }
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_set_terminator(ZolvGdbusObjSerialPort *skeleton, GDBusMethodInvocation *invocation,
                      guint state, ZolvSerialPort *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "SetTerminator(%d)",
                       static_cast<int>(state));

    if (self->priv->terminator.allows(call, self->priv->disabled()) &&
        zolv_serialport_set_terminator(self, state, call.error())) {
        GDBusMethodInvocation *reply = call.ok();
        self->priv->terminator.store(state);
        zolv_gdbus_obj_serial_port_complete_set_terminator(skeleton, reply);
    }
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_set_iostate(ZolvGdbusObjSerialPort *skeleton, GDBusMethodInvocation *invocation,
                   guint iostate, ZolvSerialPort *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "SetIOState()");

    if (self->priv->io_state.set(call, iostate))
        zolv_gdbus_obj_serial_port_complete_set_iostate(
            skeleton, call.ok(", io_state=%d", static_cast<int>(iostate)));
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
check_ready(ZolvSerialPort *)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
set_interface(ZolvSerialPort *, guint, GError **)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
get_interface(ZolvSerialPort *, guint *, GError **)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
refuse_switch(ZolvSerialPort *, guint, GError **error)
{
    return zolv::fail(error, ZOLV_CORE_ERROR_NOT_SUPPORT, "Operation not supported");
}

static void
set_pull_up_down_configurable(ZolvSerialPort *self, gboolean configurable)
{
    zolv_gdbus_obj_serial_port_set_pull_up_down_configurable(self->priv->skeleton.get(),
                                                             configurable);
}

static void
set_terminator_configurable(ZolvSerialPort *self, gboolean configurable)
{
    zolv_gdbus_obj_serial_port_set_terminator_configurable(self->priv->skeleton.get(),
                                                           configurable);
}

_ZolvSerialPortPrivate::_ZolvSerialPortPrivate(ZolvSerialPort *self)
    : interface(ZOLV_OBJ(self), "Interface"),
      pull_up_down(ZOLV_OBJ(self), skeleton.get(), pull_up_down_rules),
      terminator(ZOLV_OBJ(self), skeleton.get(), terminator_rules),
      io_state(ZOLV_OBJ(self), skeleton.get(), {.refused_level = TVL_LOG_DEBUG})
{
    zolv_gdbus_object_skeleton_set_obj_serial_port(ZOLV_GDBUS_OBJECT_SKELETON(self),
                                                   skeleton.get());
    zolv::connect_handlers(skeleton.get(), ZOLV_OBJ(self),
                           {{"handle-set-interface", G_CALLBACK(handle_set_interface)},
                            {"handle-get-interface", G_CALLBACK(handle_get_interface)},
                            {"handle-set-pull-up-down", G_CALLBACK(handle_set_pull_up_down)},
                            {"handle-set-terminator", G_CALLBACK(handle_set_terminator)},
                            {"handle-set-iostate", G_CALLBACK(handle_set_iostate)}});
}

ZOLV_DEFINE_ABSTRACT_CLASS(ZolvSerialPort, zolv_serialport, ZOLV_TYPE_OBJ)
{
    klass->check_ready = check_ready;
    klass->set_interface = set_interface;
    klass->get_interface = get_interface;
    klass->set_pull_up_down = refuse_switch;
    klass->set_terminator = refuse_switch;
    klass->set_pull_up_down_configurable = set_pull_up_down_configurable;
    klass->set_terminator_configurable = set_terminator_configurable;
}

ZOLV_DEFINE_IO_STATE_API(serialport, ZolvSerialPort);

gboolean
zolv::has_device(ZolvSerialPort *port)
{
    const char *device = zolv_serialport_get_device(port);

    return device != nullptr && *device != '\0';
}

gboolean
zolv::set_mode_by_port_field(ZolvSerialPort *port, guint mode, GError **error)
{
    return set_serial_port_field(zolv_serialport_get_device(port), mode, error);
}

gboolean
zolv::get_mode_by_port_field(ZolvSerialPort *port, guint *mode, GError **error)
{
    return get_serial_port_field(zolv_serialport_get_device(port), mode, error);
}

zolv::StoredSwitch &
zolv::pull_up_down(ZolvSerialPort *port)
{
    return port->priv->pull_up_down;
}

zolv::StoredSwitch &
zolv::terminator(ZolvSerialPort *port)
{
    return port->priv->terminator;
}

/* An adapter that is plugged in again defines its modes again. */
void
zolv_serialport_define_supported_interfaces(ZolvSerialPort *self, guint count, const guint *values)
{
    std::vector<guint> &known = self->priv->interfaces;

    for (const guint mode : std::span(values, count))
        if (std::ranges::find(known, mode) == known.end())
            known.push_back(mode);
    zolv_gdbus_obj_serial_port_set_supported_interfaces(self->priv->skeleton.get(),
                                                        list_of(count, values).get());
}

/* What is published only. */
#define DEFINE_LIST(list)                                                                          \
    void zolv_serialport_define_supported_##list(ZolvSerialPort *self, guint count,                \
                                                 const guint *values)                              \
    {                                                                                              \
        zolv_gdbus_obj_serial_port_set_supported_##list(self->priv->skeleton.get(),                \
                                                        list_of(count, values).get());             \
    }                                                                                              \
    static_assert(true) /* takes the semicolon */

DEFINE_LIST(baudrates);
DEFINE_LIST(data_bits);
DEFINE_LIST(stop_bits);
DEFINE_LIST(parities);
DEFINE_LIST(flow_controls);

void
zolv_serialport_define_pull_up_down(ZolvSerialPort *self, guint state)
{
    self->priv->pull_up_down.publish(state);
}

void
zolv_serialport_define_terminator(ZolvSerialPort *self, guint state)
{
    self->priv->terminator.publish(state);
}

void
zolv_serialport_define_device(ZolvSerialPort *self, const char *original_device, const char *device)
{
    ZolvGdbusObjSerialPort *skeleton = self->priv->skeleton.get();
    const std::string original = zolv::fit_text(original_device);
    g_autoptr(GError) error = nullptr;

    zolv_gdbus_obj_serial_port_set_original_device(skeleton, original.c_str());
    zolv_gdbus_obj_serial_port_set_device(skeleton, zolv::fit_text(device).c_str());
    if (g_strcmp0(original_device, device) != 0 &&
        !zolv_helper_create_symlink(original_device, device, &error)) {
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Create link failed: %s", error->message);
        zolv_gdbus_obj_serial_port_set_device(skeleton, original.c_str());
    }
    zolv_serialport_check_ready_and_init(self);
}

/* Whether @mode was set; a failure is logged as that of @step. */
static bool
set_at_start(ZolvSerialPort *self, guint mode, const char *step)
{
    g_autoptr(GError) error = nullptr;

    if (zolv_serialport_set_interface(self, mode, &error))
        return true;
    zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "%s failed: %s", step, error->message);
    return false;
}

void
zolv_serialport_check_ready_and_init(ZolvSerialPort *self)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SERIALPORT(self));
    const std::vector<guint> &interfaces = self->priv->interfaces;

    if (!ZOLV_SERIALPORT_GET_CLASS(self)->check_ready(self))
        return;
    if (!set_at_start(self, self->priv->interface.read_or_store(SERIALPORT_RS232),
                      "Initialize port interface"))
        set_at_start(self, interfaces.empty() ? guint{SERIALPORT_RS232} : interfaces.front(),
                     "Fallback: set first port interface");
    zolv_obj_export(ZOLV_OBJ(self));
}

const char *
zolv_serialport_get_device(ZolvSerialPort *self)
{
    return zolv_gdbus_obj_serial_port_get_device(self->priv->skeleton.get());
}

const char *
zolv_serialport_get_original_device(ZolvSerialPort *self)
{
    return zolv_gdbus_obj_serial_port_get_original_device(self->priv->skeleton.get());
}

gboolean
zolv_serialport_set_interface(ZolvSerialPort *self, guint mode, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SERIALPORT(self));
    const std::vector<guint> &interfaces = self->priv->interfaces;

    if (mode > SERIALPORT_RS485_4W)
        return zolv::fail(error, ZOLV_CORE_ERROR_INVAL_ARG, "Invalid SerialPort interface");
    if (std::ranges::find(interfaces, mode) == interfaces.end())
        return zolv::fail(error, ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT, "Interface not supported");
    return ZOLV_SERIALPORT_GET_CLASS(self)->set_interface(self, mode, error);
}

gboolean
zolv_serialport_get_interface(ZolvSerialPort *self, guint *mode, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SERIALPORT(self));
    return ZOLV_SERIALPORT_GET_CLASS(self)->get_interface(self, mode, error);
}

gboolean
zolv_serialport_set_pull_up_down(ZolvSerialPort *self, guint state, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SERIALPORT(self));
    return ZOLV_SERIALPORT_GET_CLASS(self)->set_pull_up_down(self, state, error);
}

gboolean
zolv_serialport_set_terminator(ZolvSerialPort *self, guint state, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_SERIALPORT(self));
    return ZOLV_SERIALPORT_GET_CLASS(self)->set_terminator(self, state, error);
}

guint
zolv_serialport_get_pull_up_down(ZolvSerialPort *self)
{
    return self->priv->pull_up_down.published();
}

guint
zolv_serialport_get_terminator(ZolvSerialPort *self)
{
    return self->priv->terminator.published();
}
