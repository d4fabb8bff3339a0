#include "peripherals/can/zolv-can.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-text.h"
#include "helpers/zolv-gpio-line.h"
#include "peripherals/zolv-io-state.h"
#include "peripherals/zolv-stored-switch.h"

#include <libsocketcan.h>

namespace {

constexpr zolv::SwitchRules terminator_rules = {
    .key = "Terminator",
    .property = "terminator",
    .name = "terminator",
    .disabled = {TVL_LOG_DEBUG, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL,
                 "Cannot set terminator for disabled CAN"},
    .absent = {TVL_LOG_DEBUG, ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT,
               "Cannot set terminator for not applicable device"},
};

} // namespace

struct _ZolvCANPrivate {
    explicit _ZolvCANPrivate(ZolvCAN *self);

    zolv::ObjectPtr<ZolvGdbusObjCAN> skeleton{zolv_gdbus_obj_can_skeleton_new()};
    zolv::StoredSwitch terminator;
    zolv::GpioLine terminator_line;
    zolv::IoState io_state;
};

static bool
drive_terminator(ZolvCAN *self, bool on, GError **error)
{
    return self->priv->terminator_line.drive(on ? 1 : 0, error);
}

/* The wish stays published where the line fails: it is what the caller asked for. */
static bool
set_terminator(ZolvCAN *self, guint state, GError **error)
{
    self->priv->terminator.publish(state);
    return drive_terminator(self, state == zolv::StoredSwitch::on, error);
}

static gboolean
handle_set_terminator(ZolvGdbusObjCAN *skeleton, GDBusMethodInvocation *invocation, guint state,
                      ZolvCAN *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "SetTerminator()");

    if (self->priv->terminator.allows(call, !self->priv->io_state.available()) &&
        set_terminator(self, state, call.error())) {
        GDBusMethodInvocation *reply = call.ok(", state=%d", static_cast<int>(state));
        self->priv->terminator.store(state);
        zolv_gdbus_obj_can_complete_set_terminator(skeleton, reply);
    }
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

/* An interface that is down keeps the bit rate it had when it was up, so that is not told. */
static bool
read_bitrate(const char *device, guint *bitrate, GError **error)
{
    int state = CAN_STATE_STOPPED;
    can_bittiming timing{};

    if (device == nullptr || *device == '\0')
        return zolv::fail(error, ZOLV_CORE_ERROR_PERIPH_NOT_FOUND,
                          "Cannot get device name or device name is not enabled");
    if (can_get_state(device, &state) != 0)
        return zolv::failf(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, "Cannot get bus state for %s",
                           device);
    if (state == CAN_STATE_STOPPED)
        return zolv::failf(error, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL,
                           "Cannot get bitrate for inactive device: %s", device);
    if (can_get_bittiming(device, &timing) != 0)
        return zolv::failf(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, "Cannot get bitrate for %s",
                           device);
    *bitrate = timing.bitrate;
    return true;
}

static bool
get_bitrate(ZolvCAN *self, zolv::BusCall &call, guint *bitrate)
{
    if (!self->priv->io_state.available())
        return call.refuse(TVL_LOG_DEBUG, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL,
                           "Cannot get bitrate for disabled CAN");
    return read_bitrate(zolv_gdbus_obj_can_get_device_name(self->priv->skeleton.get()), bitrate,
                        call.error());
}

static gboolean
handle_get_bitrate(ZolvGdbusObjCAN *skeleton, GDBusMethodInvocation *invocation, ZolvCAN *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "GetBitrate()");
    guint bitrate = 0;

    if (get_bitrate(self, call, &bitrate))
        zolv_gdbus_obj_can_complete_get_bitrate(
            skeleton, call.ok(", bitrate=%d", static_cast<int>(bitrate)), bitrate);
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_set_iostate(ZolvGdbusObjCAN *skeleton, GDBusMethodInvocation *invocation, guint iostate,
                   ZolvCAN *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "SetIOState()");

    if (self->priv->io_state.set(call, iostate))
        zolv_gdbus_obj_can_complete_set_iostate(
            skeleton, call.ok(", io_state=%d", static_cast<int>(iostate)));
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

_ZolvCANPrivate::_ZolvCANPrivate(ZolvCAN *self)
    : terminator(ZOLV_OBJ(self), skeleton.get(), terminator_rules),
      io_state(ZOLV_OBJ(self), skeleton.get(), {.refused_level = TVL_LOG_ERROR})
{
    zolv_gdbus_object_skeleton_set_obj_can(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
    zolv::connect_handlers(skeleton.get(), ZOLV_OBJ(self),
                           {{"handle-get-bitrate", G_CALLBACK(handle_get_bitrate)},
                            {"handle-set-terminator", G_CALLBACK(handle_set_terminator)},
                            {"handle-set-iostate", G_CALLBACK(handle_set_iostate)}});
}

ZOLV_DEFINE_CLASS(ZolvCAN, zolv_can, ZOLV_TYPE_OBJ)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "CAN");
}

ZOLV_DEFINE_IO_STATE_API(can, ZolvCAN);

void
zolv_can_define_maximum_supported_bitrate(ZolvCAN *self, guint bitrate)
{
    zolv_gdbus_obj_can_set_maximum_supported_bitrate(self->priv->skeleton.get(), bitrate);
}

void
zolv_can_define_terminator_pin(ZolvCAN *self, guint gpio)
{
    g_autoptr(GError) error = nullptr;

    self->priv->terminator_line.define(static_cast<int>(gpio), GPIO_DIRECTION_OUT);
    if (!drive_terminator(self, self->priv->terminator.define(), &error))
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_ERROR, "Failed to set terminator: %s", error->message);
}

void
zolv_can_define_device_name_by_udev(ZolvCAN *self, GUdevDevice *udev_device)
{
    if (udev_device == nullptr) {
        zolv_gdbus_obj_can_set_device_name(self->priv->skeleton.get(), nullptr);
        return;
    }
    const char *interface = g_udev_device_get_property(udev_device, "INTERFACE");
    ZOLV_ASSERT(interface != NULL);
    zolv_gdbus_obj_can_set_device_name(self->priv->skeleton.get(),
                                       zolv::fit_text(interface).c_str());
    zolv_obj_export(ZOLV_OBJ(self));
}
