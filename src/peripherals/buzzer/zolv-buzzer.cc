#include "peripherals/buzzer/zolv-buzzer.h"

#include "core/zolv-assert.h"
#include "core/zolv-bus-call.h"
#include "core/zolv-class.h"
#include "core/zolv-raii.h"

struct _ZolvBuzzerPrivate {
    explicit _ZolvBuzzerPrivate(ZolvBuzzer *self);

    zolv::ObjectPtr<ZolvGdbusObjBuzzer> skeleton{zolv_gdbus_obj_buzzer_skeleton_new()};
};

static gboolean
handle_set_state(ZolvGdbusObjBuzzer *skeleton, GDBusMethodInvocation *invocation, guint state,
                 ZolvBuzzer *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "SetState(%d)",
                       static_cast<int>(state));

    if (zolv_buzzer_set_state(self, state, call.error()))
        zolv_gdbus_obj_buzzer_complete_set_state(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_get_state(ZolvGdbusObjBuzzer *skeleton, GDBusMethodInvocation *invocation, ZolvBuzzer *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "GetState()");
    guint state = 0;

    if (zolv_buzzer_get_state(self, &state, call.error()))
        zolv_gdbus_obj_buzzer_complete_get_state(
            skeleton, call.ok(", state=%d", static_cast<int>(state)), state);
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
buzzer_set_state(ZolvBuzzer *, guint, GError **)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
buzzer_get_state(ZolvBuzzer *, guint *, GError **)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static void
buzzer_export_obj(ZolvBuzzer *self)
{
    zolv_obj_export(ZOLV_OBJ(self));
}

static void
buzzer_unexport_obj(ZolvBuzzer *self)
{
    zolv_obj_unexport(ZOLV_OBJ(self));
}

static void
buzzer_set_device_type(ZolvBuzzer *self, guint type)
{
    zolv_gdbus_obj_buzzer_set_device_type(self->priv->skeleton.get(), type);
}

static void
buzzer_set_gpio_pin(ZolvBuzzer *self, int pin)
{
    zolv_gdbus_obj_buzzer_set_gpiopin(self->priv->skeleton.get(), pin);
}

_ZolvBuzzerPrivate::_ZolvBuzzerPrivate(ZolvBuzzer *self)
{
    zolv_gdbus_obj_buzzer_set_device_type(skeleton.get(), ZOLV_BUZZER_DEVICE_TYPE_NONE);
    zolv_gdbus_obj_buzzer_set_gpiopin(skeleton.get(), -1);
    zolv_gdbus_object_skeleton_set_obj_buzzer(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
    zolv::connect_handlers(skeleton.get(), ZOLV_OBJ(self),
                           {{"handle-set-state", G_CALLBACK(handle_set_state)},
                            {"handle-get-state", G_CALLBACK(handle_get_state)}});
}

ZOLV_DEFINE_ABSTRACT_CLASS(ZolvBuzzer, zolv_buzzer, ZOLV_TYPE_OBJ)
{
    klass->set_state = buzzer_set_state;
    klass->get_state = buzzer_get_state;
    klass->export_obj = buzzer_export_obj;
    klass->unexport_obj = buzzer_unexport_obj;
    klass->set_device_type = buzzer_set_device_type;
    klass->set_gpio_pin = buzzer_set_gpio_pin;
}

void
zolv_buzzer_define_gpio(ZolvBuzzer *self, int pin)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BUZZER(self));
    ZOLV_BUZZER_GET_CLASS(self)->set_gpio_pin(self, pin);
}

gboolean
zolv_buzzer_set_state(ZolvBuzzer *self, guint state, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BUZZER(self));
    return ZOLV_BUZZER_GET_CLASS(self)->set_state(self, state, error);
}

gboolean
zolv_buzzer_get_state(ZolvBuzzer *self, guint *state, GError **error)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_BUZZER(self));
    return ZOLV_BUZZER_GET_CLASS(self)->get_state(self, state, error);
}
