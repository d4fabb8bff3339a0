#include "peripherals/wifi/zolv-wifi.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "peripherals/zolv-socket-calls.h"

struct _ZolvWiFiPrivate {
    explicit _ZolvWiFiPrivate(ZolvWiFi *self);

    zolv::ObjectPtr<ZolvGdbusObjWiFi> skeleton{zolv_gdbus_obj_wi_fi_skeleton_new()};
    zolv::SocketCalls calls;
};

static gboolean
wifi_device_add(ZolvWiFi *, GUdevDevice *)
{
    ZOLV_ASSERT_NOT_REACHED();
}

static gboolean
wifi_check_matched(ZolvWiFi *, GUdevDevice *)
{
    ZOLV_ASSERT_NOT_REACHED();
}

_ZolvWiFiPrivate::_ZolvWiFiPrivate(ZolvWiFi *self) : calls(ZOLV_OBJ(self), skeleton.get())
{
    zolv_gdbus_object_skeleton_set_obj_wi_fi(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
}

ZOLV_DEFINE_ABSTRACT_CLASS(ZolvWiFi, zolv_wifi, ZOLV_TYPE_OBJ)
{
    klass->device_add = wifi_device_add;
    klass->check_matched = wifi_check_matched;
}

void
zolv_wifi_define_name(ZolvWiFi *self, const char *name)
{
    zolv_gdbus_obj_wi_fi_set_name(self->priv->skeleton.get(), zolv::fit_text(name).c_str());
}

void
zolv_wifi_define_device_name(ZolvWiFi *self, const char *name)
{
    zolv_gdbus_obj_wi_fi_set_device_name(self->priv->skeleton.get(), zolv::fit_text(name).c_str());
    zolv_obj_export(ZOLV_OBJ(self));
}

void
zolv_wifi_bind_socket(ZolvWiFi *self, ZolvSocket *socket)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_WIFI(self));
    ZOLV_ASSERT(socket != NULL);
    ZOLV_ASSERT(ZOLV_IS_SOCKET(socket));
    zolv_gdbus_obj_wi_fi_set_socket(self->priv->skeleton.get(),
                                    zolv_obj_get_name(ZOLV_OBJ(socket)));
    self->priv->calls.bind(socket);
}

void
zolv_wifi_set_device_detected(ZolvWiFi *self, gboolean detected)
{
    zolv_gdbus_obj_wi_fi_set_device_detected(self->priv->skeleton.get(), detected);
}

/* Whether it is the module itself, as its bus knows it. */
static bool
is_module(ZolvWiFi *self, GUdevDevice *device)
{
    const char *module = zolv_obj_get_sysfs_path(ZOLV_OBJ(self));

    return module != nullptr && g_strcmp0(g_udev_device_get_sysfs_path(device), module) == 0;
}

gboolean
zolv_wifi_device_add(ZolvWiFi *self, GUdevDevice *device)
{
    const ZolvWiFiClass *klass = ZOLV_WIFI_GET_CLASS(self);

    if (is_module(self, device)) {
        if (klass->check_matched(self, device))
            zolv_wifi_set_device_detected(self, TRUE);
        else
            zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Detected a unexpected device");
    }
    return klass->device_add(self, device);
}

void
zolv_wifi_device_remove(ZolvWiFi *self, GUdevDevice *device)
{
    if (is_module(self, device))
        zolv_wifi_set_device_detected(self, FALSE);
}
