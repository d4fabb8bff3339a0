#include "peripherals/console/zolv-console.h"

#include "core/zolv-bus-call.h"
#include "core/zolv-class.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "peripherals/zolv-io-state.h"

struct _ZolvConsolePrivate {
    explicit _ZolvConsolePrivate(ZolvConsole *self);

    zolv::ObjectPtr<ZolvGdbusObjConsole> skeleton{zolv_gdbus_obj_console_skeleton_new()};
    zolv::IoState io_state;
};

static gboolean
handle_set_iostate(ZolvGdbusObjConsole *skeleton, GDBusMethodInvocation *invocation, guint iostate,
                   ZolvConsole *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, zolv::BusCall::Levels::info, "SetIOState()");

    if (self->priv->io_state.set(call, iostate))
        zolv_gdbus_obj_console_complete_set_iostate(
            skeleton, call.ok(", io_state=%d", static_cast<int>(iostate)));
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

_ZolvConsolePrivate::_ZolvConsolePrivate(ZolvConsole *self)
    : io_state(ZOLV_OBJ(self), skeleton.get(),
               {.refused_level = TVL_LOG_ERROR, .name_required = false})
{
    zolv_gdbus_object_skeleton_set_obj_console(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
    zolv::connect_handlers(skeleton.get(), ZOLV_OBJ(self),
                           {{"handle-set-iostate", G_CALLBACK(handle_set_iostate)}});
}

ZOLV_DEFINE_CLASS(ZolvConsole, zolv_console, ZOLV_TYPE_OBJ)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Console");
}

ZOLV_DEFINE_IO_STATE_API(console, ZolvConsole);

void
zolv_console_define_device(ZolvConsole *self, const char *device)
{
    zolv_gdbus_obj_console_set_device(self->priv->skeleton.get(), zolv::fit_text(device).c_str());
    zolv_obj_export(ZOLV_OBJ(self));
}
