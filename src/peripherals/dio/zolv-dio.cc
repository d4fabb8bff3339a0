#include "peripherals/dio/zolv-dio.h"

#include "core/zolv-assert.h"
#include "core/zolv-bus-call.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "helpers/zolv-helpers-config.h"
#include "helpers/zolv-helpers-sysfs-gpio.h"
#include "peripherals/dio/zolv-dio-hook.h"
#include "peripherals/dio/zolv-dio-internal.h"
#include "peripherals/dio/zolv-dio-watcher.h"
#include "tvl-log.h"
#include "zolv-error.h"

#define EVENT_KEY "Event"

/* Members are destroyed bottom up: the watcher goes before the hook that it looks at. */
struct _ZolvDIOPrivate {
    explicit _ZolvDIOPrivate(ZolvDIO *self)
        : hook(ZOLV_OBJ(self), skeleton.get()), watcher(self, skeleton.get(), hook)
    {
    }

    zolv::ObjectPtr<ZolvGdbusObjDIO> skeleton{zolv_gdbus_obj_dio_skeleton_new()};
    int pin = -1;
    guint direction = GPIO_DIRECTION_IN;
    bool pin_defined = false;
    zolv::DioHook hook;
    zolv::DioWatcher watcher;
};

G_DEFINE_TYPE(ZolvDIO, zolv_dio, ZOLV_TYPE_OBJ)

namespace {

constexpr zolv::BusCall::Levels quiet = {
    .called = TVL_LOG_DEBUG, .ok = TVL_LOG_DEBUG, .failed = TVL_LOG_ERROR};

} // namespace

static gboolean
handle_set_state(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, guint state,
                 ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, quiet, "SetState(%d)", static_cast<int>(state));

    if (zolv_dio_set_state(self, state, call.error()))
        zolv_gdbus_obj_dio_complete_set_state(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_get_state(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, quiet, "GetState()");
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
    zolv::BusCall call(ZOLV_OBJ(self), invocation, quiet, "SetDirection(%d)",
                       static_cast<int>(direction));

    if (set_checked_direction(self, direction, call))
        zolv_gdbus_obj_dio_complete_set_direction(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_get_direction(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, quiet, "GetDirection()");
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
    zolv::BusCall call(ZOLV_OBJ(self), invocation, quiet, "SetEvent(%d)", static_cast<int>(event));

    if (zolv_dio_set_event(self, event, call.error()))
        zolv_gdbus_obj_dio_complete_set_event(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_reload(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, quiet, "Reload()");

    if (zolv_dio_reload(self, call.error()))
        zolv_gdbus_obj_dio_complete_reload(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_add_hook(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, const char *name,
                const char *path, ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, quiet, "AddHook()");

    if (zolv_dio_add_hook(self, name, path, call.error()))
        zolv_gdbus_obj_dio_complete_add_hook(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_delete_hook(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, const char *name,
                   ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, quiet, "DeleteHook()");

    if (zolv_dio_delete_hook(self, name, call.error()))
        zolv_gdbus_obj_dio_complete_delete_hook(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_list_hook(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, quiet, "ListHook()");
    g_autoptr(GVariant) hooks = nullptr;

    if (zolv_dio_list_hook(&hooks, call.error()))
        zolv_gdbus_obj_dio_complete_list_hook(skeleton, call.ok(), hooks);
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_set_hook(ZolvGdbusObjDIO *skeleton, GDBusMethodInvocation *invocation, const char *name,
                ZolvDIO *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, quiet, "SetHook()");

    if (zolv_dio_set_hook(self, name, call.error()))
        zolv_gdbus_obj_dio_complete_set_hook(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

bool
zolv::check_dio_defined(bool defined, const char *complaint, GError **error)
{
    if (!defined)
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_PERIPH_NOT_READY, complaint);
    return defined;
}

bool
zolv::drive_dio(bool defined, guint direction, int pin, guint state, GError **error)
{
    if (!check_dio_defined(defined, "DIO pin is not set", error))
        return false;
    if (direction != GPIO_DIRECTION_OUT) {
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_NOT_PERMIT,
                            "DIO pin should be set to output");
        return false;
    }
    return zolv_helper_set_sysfs_gpio_value(pin, state, error);
}

static gboolean
dio_set_state(ZolvDIO *self, guint state, GError **error)
{
    const ZolvDIOPrivate *priv = self->priv;

    return zolv::drive_dio(priv->pin_defined, priv->direction, priv->pin, state, error);
}

static gboolean
dio_get_state(ZolvDIO *self, guint *state, GError **error)
{
    const ZolvDIOPrivate *priv = self->priv;

    if (!zolv::check_dio_defined(priv->pin_defined, "DIO pin is not set", error))
        return FALSE;
    if (zolv_helper_get_sysfs_gpio_value(priv->pin, state, nullptr))
        return TRUE;
    g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE,
                        "Failed to get GPIO");
    return FALSE;
}

static gboolean
dio_set_direction(ZolvDIO *, guint, GError **error)
{
    g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_NOT_SUPPORT,
                        "DIO set_direction is not supported");
    return FALSE;
}

static gboolean
dio_get_direction(ZolvDIO *self, guint *direction, GError **error)
{
    const ZolvDIOPrivate *priv = self->priv;

    return zolv::check_dio_defined(priv->pin_defined, "DIO GPIO pin is not set", error) &&
           zolv_helper_get_sysfs_gpio_direction(priv->pin, direction, error);
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

/* The bus shows a line that is not there, -1, as 4294967295. */
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

/* A signal of an object that is off the bus would be lost with a critical. */
static void
dio_withdraw(ZolvObj *obj)
{
    ZOLV_DIO(obj)->priv->watcher.stop();
    ZOLV_OBJ_CLASS(zolv_dio_parent_class)->unexport_obj(obj);
}

static void
zolv_dio_init(ZolvDIO *self)
{
    self->priv = new ZolvDIOPrivate(self);
    ZolvGdbusObjDIO *skeleton = self->priv->skeleton.get();

    dio_set_gpio_pin(self, -1);
    zolv_gdbus_obj_dio_set_hook_name(skeleton, "N/A");
    zolv_gdbus_object_skeleton_set_obj_dio(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton);
    zolv::connect_handlers(skeleton, ZOLV_OBJ(self),
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

/* Before any finalisation: the watcher reads through the slots of the subclass. */
static void
zolv_dio_dispose(GObject *object)
{
    ZOLV_DIO(object)->priv->watcher.stop();
    G_OBJECT_CLASS(zolv_dio_parent_class)->dispose(object);
}

static void
zolv_dio_finalize(GObject *object)
{
    delete ZOLV_DIO(object)->priv;
    G_OBJECT_CLASS(zolv_dio_parent_class)->finalize(object);
}

static void
zolv_dio_class_init(ZolvDIOClass *klass)
{
    G_OBJECT_CLASS(klass)->dispose = zolv_dio_dispose;
    G_OBJECT_CLASS(klass)->finalize = zolv_dio_finalize;
    ZOLV_OBJ_CLASS(klass)->unexport_obj = dio_withdraw;
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
    guint current = 0;

    self->priv->pin = pin;
    self->priv->direction = direction;
    klass->set_pin_defined(self, TRUE);
    klass->set_gpio_pin(self, pin);
    klass->set_device_type(self, DIO_TYPE_SINGLE_GPIO);
    /* A line whose direction cannot be read may still take one. */
    if ((!zolv_helper_get_sysfs_gpio_direction(pin, &current, nullptr) || current != direction) &&
        !zolv_helper_set_sysfs_gpio_direction(pin, direction, nullptr))
        _tvl_log(TVL_LOG_ERROR, "Set GPIO direction for pin failed");
    klass->export_obj(self);
}

void
zolv_dio_arm_hook(ZolvDIO *self)
{
    const char *id = zolv_obj_get_id(ZOLV_OBJ(self));
    guint event = DIO_NONE_EDGE;

    if (!zolv_helper_config_get_guint(id, EVENT_KEY, &event)) {
        event = DIO_NONE_EDGE;
        zolv_helper_config_set_guint(id, EVENT_KEY, event);
    }
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
    if (self->priv->direction == GPIO_DIRECTION_IN)
        zolv_dio_arm_hook(self);
}

gboolean
zolv_dio_set_state(ZolvDIO *self, guint state, GError **error)
{
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    if (state > 1) {
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_INVAL_ARG, "Invalid DIO state");
        return FALSE;
    }
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
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_DEBUG, "Keep the same DIO direction");
        return TRUE;
    }
    if (self->priv->hook.event != DIO_NONE_EDGE) {
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_NOT_PERMIT,
                            "Hook event must be set to 'none' before changing direction");
        return FALSE;
    }
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
    if (is_input(self))
        return true;
    g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_NOT_SUPPORT, complaint);
    return false;
}

gboolean
zolv_dio_set_event(ZolvDIO *self, guint event, GError **error)
{
    ZOLV_ASSERT(ZOLV_IS_DIO(self));
    if (!check_input(self, "Hooking DO events is not allowed", error))
        return FALSE;
    if (event >= DIO_LAST_EDGE) {
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_INVAL_ARG, "Invalid DIO event");
        return FALSE;
    }
    self->priv->hook.event = event;
    zolv_gdbus_obj_dio_set_event(self->priv->skeleton.get(), event);
    zolv_helper_config_set_guint(zolv_obj_get_id(ZOLV_OBJ(self)), EVENT_KEY, event);
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
