#include "peripherals/console/zolv-console.h"

#include "core/zolv-bus-call.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "peripherals/zolv-io-state.h"

struct _ZolvConsolePrivate {
    explicit _ZolvConsolePrivate(ZolvConsole *self)
        : io_state(ZOLV_OBJ(self), skeleton.get(),
                   {.refused_level = TVL_LOG_ERROR, .name_required = false})
    {
    }
    zolv::ObjectPtr<ZolvGdbusObjConsole> skeleton{zolv_gdbus_obj_console_skeleton_new()};
    zolv::IoState io_state;
};

G_DEFINE_TYPE(ZolvConsole, zolv_console, ZOLV_TYPE_OBJ)

static gboolean
handle_set_iostate(ZolvGdbusObjConsole *skeleton, GDBusMethodInvocation *invocation, guint iostate,
                   ZolvConsole *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, {}, "SetIOState()");

    if (self->priv->io_state.set(call, iostate))
        zolv_gdbus_obj_console_complete_set_iostate(
            skeleton, call.ok(", io_state=%d", static_cast<int>(iostate)));
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static void
zolv_console_init(ZolvConsole *self)
{
    self->priv = new ZolvConsolePrivate(self);
    ZolvGdbusObjConsole *skeleton = self->priv->skeleton.get();

    zolv_gdbus_object_skeleton_set_obj_console(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton);
    zolv::connect_handlers(skeleton, ZOLV_OBJ(self),
                           {{"handle-set-iostate", G_CALLBACK(handle_set_iostate)}});
}

static void
zolv_console_finalize(GObject *object)
{
    delete ZOLV_CONSOLE(object)->priv;
    G_OBJECT_CLASS(zolv_console_parent_class)->finalize(object);
}

static void
zolv_console_class_init(ZolvConsoleClass *klass)
{
    G_OBJECT_CLASS(klass)->finalize = zolv_console_finalize;
}

ZOLV_DEFINE_IO_STATE_API(console, ZolvConsole);

void
zolv_console_define_device(ZolvConsole *self, const char *device)
{
    zolv_gdbus_obj_console_set_device(self->priv->skeleton.get(), zolv::fit_text(device).c_str());
    zolv_obj_export(ZOLV_OBJ(self));
}
