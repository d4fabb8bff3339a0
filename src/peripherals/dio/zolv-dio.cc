#include "peripherals/dio/zolv-dio.h"

#include "core/zolv-assert.h"
#include "core/zolv-bus-call.h"
#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "helpers/zolv-gpio-line.h"
#include "helpers/zolv-setting.h"
#include "peripherals/dio/zolv-dio-hook.h"
#include "peripherals/dio/zolv-dio-internal.h"
#include "peripherals/dio/zolv-dio-watcher.h"
#include "tvl-log.h"

namespace {

/* How the bus shows a line that is not there. */
constexpr guint no_gpio_pin = G_MAXUINT;

} // namespace

/* Members are destroyed bottom up: the watcher goes before the hook that it looks at. */
struct _ZolvDIOPrivate {
    explicit _ZolvDIOPrivate(ZolvDIO *self);

    zolv::ObjectPtr<ZolvGdbusObjDIO> skeleton{zolv_gdbus_obj_dio_skeleton_new()};
    zolv::GpioLine line;
    bool pin_defined = false; /* a class with other lines says so, too */
    zolv::Setting<guint> event;
    zolv::DioHook hook;
    zolv::DioWatcher watcher;
};

static gboolean
handle_set_state(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, guint state,
                 ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::debug, "SetState(%d)",
                       static_cast<int>(state));

    if (zolv_dio_set_state(self, state, call.error()))
        zolv_gdbus_obj_dio_complete_set_state(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_get_state(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::debug, "GetState()");
    guint state = 0;

    if (zolv_dio_get_state(self, &state, call.error()))
        zolv_gdbus_obj_dio_complete_get_state(
            skeleton, call.ok(", state=%d", static_cast<int>(state)), state);
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static bool
set_checked_direction(ZolvDIO *self, guint direction, zolv::BusCall &call)
{
    if (direction > GPIO_DIRECTION_OUT)
        return call.refuse(TVL_LOG_ERROR, ZOLV_CORE_ERROR_INVAL_ARG, "Invalid DIO direction");
    return zolv_dio_set_direction(self, direction, call.error());
}

static gboolean
handle_set_direction(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, guint direction,
                     ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::debug, "SetDirection(%d)",
                       static_cast<int>(direction));

    if (set_checked_direction(self, direction, call))
        zolv_gdbus_obj_dio_complete_set_direction(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_get_direction(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::debug, "GetDirection()");
    guint direction = 0;

    if (zolv_dio_get_direction(self, &direction, call.error()))
        zolv_gdbus_obj_dio_complete_get_direction(
            skeleton, call.ok(", direction=%d", static_cast<int>(direction)), direction);
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_set_event(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, guint event,
                 ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::debug, "SetEvent(%d)",
                       static_cast<int>(event));

    if (zolv_dio_set_event(self, event, call.error()))
        zolv_gdbus_obj_dio_complete_set_event(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_reload(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::debug, "Reload()");

    if (zolv_dio_reload(self, call.error()))
        zolv_gdbus_obj_dio_complete_reload(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_add_hook(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, const char *name,
                const char *path, ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::debug, "AddHook()");

    if (zolv_dio_add_hook(self, name, path, call.error()))
        zolv_gdbus_obj_dio_complete_add_hook(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_delete_hook(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, const char *name,
                   ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::debug, "DeleteHook()");

    if (zolv_dio_delete_hook(self, name, call.error()))
        zolv_gdbus_obj_dio_complete_delete_hook(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_list_hook(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::debug, "ListHook()");
    g_autoptr(GVariant) hooks = nullptr;

    if (zolv_dio_list_hook(&hooks, call.error()))
        zolv_gdbus_obj_dio_complete_list_hook(skeleton, call.ok(), hooks);
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_set_hook(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, const char *name,
                ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::debug, "SetHook()");

    if (zolv_dio_set_hook(self, name, call.error()))
        zolv_gdbus_obj_dio_complete_set_hook(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

bool
zolv::check_dio_defined(bool defined, GError **error)
{
    return check_defined(defined, "DIO pin is not set", error);
}

bool
zolv::drive_dio(bool defined, bool is_output, const GpioLine &line, guint state, GError **error)
{
    if (!check_dio_defined(defined, error))
        return false;
    if (!is_output)
        return fail(error, ZOLV_CORE_ERROR_NOT_PERMIT, "DIO pin should be set to output");
    return line.drive(state, error);
}

bool
zolv::read_dio_direction(bool defined, const GpioLine &line, guint *direction, GError **error)
{
    return check_defined(defined, "DIO GPIO pin is not set", error) &&
           line.read_direction(direction, error);
}

static gboolean
dio_set_state(ZolvDIO *self, guint state, GError **error)
{
    const ZolvDIOPrivate *priv = self->priv;

    return zolv::drive_dio(priv->pin_defined, priv->line.is_output(), priv->line, state, error);
}

static gboolean
dio_get_state(ZolvDIO *self, guint *state, GError **error)
{
    const ZolvDIOPrivate *priv = self->priv;

    if (!zolv::check_dio_defined(priv->pin_defined, error))
        return FALSE;
    return priv->line.read(state, nullptr) ||
           zolv::fail(error, ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE, "Failed to get GPIO");
}

static gboolean
dio_set_direction(ZolvDIO *, guint, GError **error)
{
    return zolv::fail(error, ZOLV_CORE_ERROR_NOT_SUPPORT, "DIO set_direction is not supported");
}

static gboolean
dio_get_direction(ZolvDIO *self, guint *direction, GError **error)
{
    return zolv::read_dio_direction(self->priv->pin_defined, self->priv->line, direction, error);
}

static void
dio_export(ZolvDIO *self)
{
    zolv_obj_export(ZOLV_OBJ(self));
}

static void
dio_unexport(ZolvDIO *self)
{
    zolv_obj_unexport(ZOLV_OBJ(self));
}

static void
dio_set_device_type(ZolvDIO *self, guint device_type)
{
    zolv_gdbus_obj_dio_set_device_type(self->priv->skeleton.get(), device_type);
}

static void
dio_set_gpio_pin(ZolvDIO *self, int pin)
{
    zolv_gdbus_obj_dio_set_gpiopin(self->priv->skeleton.get(), static_cast<guint>(pin));
}

static void
dio_set_pin_defined(ZolvDIO *self, gboolean defined)
{
    self->priv->pin_defined = defined;
}

static void
dio_set_direction_configurable(ZolvDIO *self, gboolean configurable)
{
    zolv_gdbus_obj_dio_set_direction_configurable(self->priv->skeleton.get(), configurable);
}

_ZolvDIOPrivate::_ZolvDIOPrivate(ZolvDIO *self)
    : event(ZOLV_OBJ(self), "Event"), hook(ZOLV_OBJ(self), skeleton.get()),
      watcher(self, skeleton.get(), hook)
{
    zolv_gdbus_obj_dio_set_gpiopin(skeleton.get(), no_gpio_pin);
    zolv_gdbus_obj_dio_set_hook_name(skeleton.get(), "N/A");
    zolv_gdbus_object_skeleton_set_obj_dio(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
    zolv::connect_handlers(skeleton.get(), ZOLV_OBJ(self),
                           {{"handle-set-state", G_CALLBACK(handle_set_state)},
                            {"handle-get-state", G_CALLBACK(handle_get_state)},
                            {"handle-set-event", G_CALLBACK(handle_set_event)},
                            {"handle-reload", G_CALLBACK(handle_reload)},
                            {"handle-set-direction", G_CALLBACK(handle_set_direction)},
                            {"handle-get-direction", G_CALLBACK(handle_get_direction)},
                            {"handle-add-hook", G_CALLBACK(handle_add_hook)},
                            {"handle-delete-hook", G_CALLBACK(handle_delete_hook)},
                            {"handle-list-hook", G_CALLBACK(handle_list_hook)},
                            {"handle-set-hook", G_CALLBACK(handle_set_hook)}});
}

ZOLV_DEFINE_CLASS(ZolvDIO, zolv_dio, ZOLV_TYPE_OBJ)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "DIO");
    /* Before any finalisation: the watcher reads through the slots of the subclass. */
    G_OBJECT_CLASS(klass)->dispose = [](GObject *object) {
        ZOLV_DIO(object)->priv->watcher.stop();
        G_OBJECT_CLASS(zolv_dio_parent_class)->dispose(object);
    };
    /* A signal of an object that is off the bus would be lost with a critical. */
    ZOLV_OBJ_CLASS(klass)->unexport_obj = [](ZolvObj *obj) {
        ZOLV_DIO(obj)->priv->watcher.stop();
        ZOLV_OBJ_CLASS(zolv_dio_parent_class)->unexport_obj(obj);
    };
    klass->set_state = dio_set_state;
    klass->get_state = dio_get_state;
    klass->set_direction = dio_set_direction;
    klass->get_direction = dio_get_direction;
    klass->export_obj = dio_export;
    klass->unexport_obj = dio_unexport;
    klass->set_device_type = dio_set_device_type;
    klass->set_gpio_pin = dio_set_gpio_pin;
    klass->set_pin_defined = dio_set_pin_defined;
    klass->set_direction_configurable = dio_set_direction_configurable;
    zolv::DioHook::prepare();
}

void
zolv_dio_define_gpio(ZolvDIO *self, int pin, guint direction)
{
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    ZOLV_ASSERT(pin >= 0);
    ZOLV_ASSERT(direction == GPIO_DIRECTION_IN || direction == GPIO_DIRECTION_OUT);
    ZolvDIOClass *klass = ZOLV_DIO_GET_CLASS(self);
    zolv::GpioLine &line = self->priv->line;
    guint current = 0;

    line.define(pin, direction);
    klass->set_pin_defined(self, TRUE);
    klass->set_gpio_pin(self, pin);
    klass->set_device_type(self, DIO_TYPE_SINGLE_GPIO);
    /* A line whose direction cannot be read may still take one. */
    if ((!line.read_direction(&current, nullptr) || current != direction) &&
        !line.apply_direction(nullptr))
        zolv_obj_log_failed_step(ZOLV_OBJ(self), "Set GPIO direction for pin failed");
    klass->export_obj(self);
}

void
zolv_dio_arm_hook(ZolvDIO *self)
{
    const guint event = self->priv->event.read_or_store(DIO_NONE_EDGE);

    self->priv->hook.event = event;
    ZOLV_ASSERT(self->priv->hook.event < DIO_LAST_EDGE);
    zolv_gdbus_obj_dio_set_event(self->priv->skeleton.get(), event);
    self->priv->hook.load();
    self->priv->hook.convert_orphan();
    self->priv->watcher.start();
}

void
zolv_dio_define_hook(ZolvDIO *self)
{
    ZOLV_ASSERT(self->priv->pin_defined == TRUE);
    if (!self->priv->line.is_output())
        zolv_dio_arm_hook(self);
}

gboolean
zolv_dio_set_state(ZolvDIO *self, guint state, GError **error)
{
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    if (state > 1)
        return zolv::fail(error, ZOLV_CORE_ERROR_INVAL_ARG, "Invalid DIO state");
    return ZOLV_DIO_GET_CLASS(self)->set_state(self, state, error);
}

gboolean
zolv_dio_get_state(ZolvDIO *self, guint *state, GError **error)
{
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    return ZOLV_DIO_GET_CLASS(self)->get_state(self, state, error);
}

gboolean
zolv_dio_set_direction(ZolvDIO *self, guint direction, GError **error)
{
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    ZOLV_ASSERT(direction == GPIO_DIRECTION_IN || direction == GPIO_DIRECTION_OUT);
    guint current = 0;

    if (zolv_dio_get_direction(self, &current, nullptr) && current == direction) {
        ZOLV_OBJ_DEBUG(ZOLV_OBJ(self), "Keep the same DIO direction");
        return TRUE;
    }
    if (self->priv->hook.event != DIO_NONE_EDGE)
        return zolv::fail(error, ZOLV_CORE_ERROR_NOT_PERMIT,
                          "Hook event must be set to 'none' before changing direction");
    return ZOLV_DIO_GET_CLASS(self)->set_direction(self, direction, error);
}

gboolean
zolv_dio_get_direction(ZolvDIO *self, guint *direction, GError **error)
{
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    return ZOLV_DIO_GET_CLASS(self)->get_direction(self, direction, error);
}

static bool
is_input(ZolvDIO *self)
{
    guint direction = 0;

    return zolv_dio_get_direction(self, &direction, nullptr) && direction == GPIO_DIRECTION_IN;
}

static bool
check_input(ZolvDIO *self, const char *complaint, GError **error)
{
    return is_input(self) || zolv::fail(error, ZOLV_CORE_ERROR_NOT_SUPPORT, complaint);
}

gboolean
zolv_dio_set_event(ZolvDIO *self, guint event, GError **error)
{
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    if (!check_input(self, "Hooking DO events is not allowed", error))
        return FALSE;
    if (event >= DIO_LAST_EDGE)
        return zolv::fail(error, ZOLV_CORE_ERROR_INVAL_ARG, "Invalid DIO event");
    self->priv->hook.event = event;
    zolv_gdbus_obj_dio_set_event(self->priv->skeleton.get(), event);
    self->priv->event.store(event);
    self->priv->hook.convert_orphan();
    return TRUE;
}

gboolean
zolv_dio_reload(ZolvDIO *self, GError **)
{
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    if (!is_input(self))
        return TRUE;
    self->priv->hook.convert_orphan();
    self->priv->hook.check();
    return TRUE;
}

gboolean
zolv_dio_add_hook(ZolvDIO *self, const char *hook_name, const char *src_hook_script, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    ZOLV_ASSERT(hook_name);
    ZOLV_ASSERT(src_hook_script);
    return check_input(self, "Adding DO hook is not allowed", error) &&
           zolv::DioHook::add(hook_name, src_hook_script, error);
}

gboolean
zolv_dio_delete_hook(ZolvDIO *self, const char *hook_name, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    ZOLV_ASSERT(hook_name);
    /* The words are those of AddHook(). */
    return check_input(self, "Adding DO hook is not allowed", error) &&
           zolv::DioHook::remove(hook_name, error);
}

gboolean
zolv_dio_list_hook(GVariant **hooks, GError **error)
{
    return zolv::DioHook::list(hooks, error);
}

gboolean
zolv_dio_set_hook(ZolvDIO *self, const char *hook_name, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    ZOLV_ASSERT(hook_name);
    return check_input(self, "Set DO hook is not allowed", error) &&
           self->priv->hook.select(hook_name, error);
}
