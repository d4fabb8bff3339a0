#include "peripherals/led/zolv-led.h"

#include "core/zolv-assert.h"
#include "core/zolv-bus-call.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "helpers/zolv-helpers-sysfs-led.h"
#include "peripherals/led/zolv-led-state.h"
#include "zolv-error.h"

#define TRIGGER_NONE "none"
#define TRIGGER_HEARTBEAT "heartbeat"

struct _ZolvLEDPrivate {
    zolv::ObjectPtr<ZolvGdbusObjLED> skeleton{zolv_gdbus_obj_led_skeleton_new()};
};

G_DEFINE_TYPE(ZolvLED, zolv_led, ZOLV_TYPE_OBJ)

static gboolean
handle_set_state(ZolvGdbusObjLED *skeleton, GDBusMethodInvocation *invocation, guint state,
                 ZolvLED *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, {}, "SetState(%d)", static_cast<int>(state));

    if (zolv_led_set_state(self, state, call.error()))
        zolv_gdbus_obj_led_complete_set_state(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_get_state(ZolvGdbusObjLED *skeleton, GDBusMethodInvocation *invocation, ZolvLED *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, {}, "GetState()");
    guint state = 0;

    if (zolv_led_get_state(self, &state, call.error()))
        zolv_gdbus_obj_led_complete_get_state(
            skeleton, call.ok(", state=%d", static_cast<int>(state)), state);
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static const char *
defined_label(ZolvLED *self, GError **error)
{
    const char *label = zolv_led_get_label(self);

    if (label == nullptr)
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_PERIPH_NOT_READY,
                            "LED label is not set");
    return label;
}

static gboolean
led_set_state(ZolvLED *self, guint state, GError **error)
{
    const char *label = defined_label(self, error);

    if (label == nullptr)
        return FALSE;
    if (state == zolv::led_heartbeat)
        return zolv_helper_set_sysfs_led_trigger(label, TRIGGER_HEARTBEAT, error);
    return zolv_helper_set_sysfs_led_trigger(label, TRIGGER_NONE, error) &&
           zolv_helper_set_sysfs_led_brightness(label, state, error);
}

static gboolean
led_get_state(ZolvLED *self, guint *state, GError **error)
{
    const char *label = defined_label(self, error);
    g_autofree char *trigger = nullptr;

    if (label == nullptr || !zolv_helper_get_sysfs_led_trigger(label, &trigger, error))
        return FALSE;
    if (g_strcmp0(trigger, TRIGGER_NONE) == 0)
        return zolv_helper_get_sysfs_led_brightness(label, state, error);
    if (g_strcmp0(trigger, TRIGGER_HEARTBEAT) != 0) {
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE,
                            "LED is in an unknown state");
        return FALSE;
    }
    *state = zolv::led_heartbeat;
    return TRUE;
}

static void
zolv_led_init(ZolvLED *self)
{
    self->priv = new ZolvLEDPrivate;
    ZolvGdbusObjLED *skeleton = self->priv->skeleton.get();

    zolv_gdbus_obj_led_set_alias(skeleton, "N/A");
    zolv_gdbus_object_skeleton_set_obj_led(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton);
    zolv::connect_handlers(skeleton, ZOLV_OBJ(self),
                           {{"handle-set-state", G_CALLBACK(handle_set_state)},
                            {"handle-get-state", G_CALLBACK(handle_get_state)}});
}

static void
zolv_led_finalize(GObject *object)
{
    delete ZOLV_LED(object)->priv;
    G_OBJECT_CLASS(zolv_led_parent_class)->finalize(object);
}

static void
zolv_led_class_init(ZolvLEDClass *klass)
{
    G_OBJECT_CLASS(klass)->finalize = zolv_led_finalize;
    klass->set_state = led_set_state;
    klass->get_state = led_get_state;
}

void
zolv_led_define_label(ZolvLED *self, const char *label)
{
    zolv_gdbus_obj_led_set_label(self->priv->skeleton.get(),
                                 label ? zolv::fit_text(label).c_str() : nullptr);
    zolv_obj_export(ZOLV_OBJ(self));
}

void
zolv_led_define_alias(ZolvLED *self, const char *alias)
{
    zolv_gdbus_obj_led_set_alias(self->priv->skeleton.get(), zolv::fit_text(alias).c_str());
}

const char *
zolv_led_get_label(ZolvLED *self)
{
    return zolv_gdbus_obj_led_get_label(self->priv->skeleton.get());
}

gboolean
zolv_led_set_state(ZolvLED *self, guint state, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_LED(self));
    if (state > zolv::led_heartbeat) {
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_INVAL_ARG, "Invalid LED state");
        return FALSE;
    }
    return ZOLV_LED_GET_CLASS(self)->set_state(self, state, error);
}

gboolean
zolv_led_get_state(ZolvLED *self, guint *state, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_LED(self));
    return ZOLV_LED_GET_CLASS(self)->get_state(self, state, error);
}
