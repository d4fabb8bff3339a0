#include "peripherals/led/zolv-led.h"

#include "core/zolv-assert.h"
#include "core/zolv-bus-call.h"
#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "helpers/zolv-helpers-sysfs-led.h"
#include "peripherals/led/zolv-led-state.h"

namespace {

constexpr char trigger_none[] = "none";
constexpr char trigger_heartbeat[] = "heartbeat";

} // namespace

struct _ZolvLEDPrivate {
    explicit _ZolvLEDPrivate(ZolvLED *self);

    zolv::ObjectPtr<ZolvGdbusObjLED> skeleton{zolv_gdbus_obj_led_skeleton_new()};
};

static gboolean
handle_set_state(ZolvGdbusObjLED *skeleton, GDBusMethodInvocation *invocation, guint state,
                 ZolvLED *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "SetState(%d)",
                       static_cast<int>(state));

    if (zolv_led_set_state(self, state, call.error()))
        zolv_gdbus_obj_led_complete_set_state(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_get_state(ZolvGdbusObjLED *skeleton, GDBusMethodInvocation *invocation, ZolvLED *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "GetState()");
    guint state = 0;

    if (zolv_led_get_state(self, &state, call.error()))
        zolv_gdbus_obj_led_complete_get_state(
            skeleton, call.ok(", state=%d", static_cast<int>(state)), state);
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static bool
check_label(ZolvLED *self, GError **error)
{
    return zolv::check_defined(zolv_led_get_label(self) != nullptr, "LED label is not set", error);
}

static gboolean
led_set_state(ZolvLED *self, guint state, GError **error)
{
    const char *label = zolv_led_get_label(self);

    if (!check_label(self, error))
        return FALSE;
    if (state == zolv::led_heartbeat)
        return zolv_helper_set_sysfs_led_trigger(label, trigger_heartbeat, error);
    return zolv_helper_set_sysfs_led_trigger(label, trigger_none, error) &&
           zolv_helper_set_sysfs_led_brightness(label, state, error);
}

static gboolean
led_get_state(ZolvLED *self, guint *state, GError **error)
{
    const char *label = zolv_led_get_label(self);
    g_autofree char *trigger = nullptr;

    if (!check_label(self, error) || !zolv_helper_get_sysfs_led_trigger(label, &trigger, error))
        return FALSE;
    if (g_strcmp0(trigger, trigger_none) == 0)
        return zolv_helper_get_sysfs_led_brightness(label, state, error);
    if (g_strcmp0(trigger, trigger_heartbeat) != 0)
        return zolv::fail(error, ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE,
                          "LED is in an unknown state");
    *state = zolv::led_heartbeat;
    return TRUE;
}

_ZolvLEDPrivate::_ZolvLEDPrivate(ZolvLED *self)
{
    zolv_gdbus_obj_led_set_alias(skeleton.get(), "N/A");
    zolv_gdbus_object_skeleton_set_obj_led(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
    zolv::connect_handlers(skeleton.get(), ZOLV_OBJ(self),
                           {{"handle-set-state", G_CALLBACK(handle_set_state)},
                            {"handle-get-state", G_CALLBACK(handle_get_state)}});
}

ZOLV_DEFINE_CLASS(ZolvLED, zolv_led, ZOLV_TYPE_OBJ)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "LED");
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
    if (state > zolv::led_heartbeat)
        return zolv::fail(error, ZOLV_CORE_ERROR_INVAL_ARG, "Invalid LED state");
    return ZOLV_LED_GET_CLASS(self)->set_state(self, state, error);
}

gboolean
zolv_led_get_state(ZolvLED *self, guint *state, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_LED(self));
    return ZOLV_LED_GET_CLASS(self)->get_state(self, state, error);
}
