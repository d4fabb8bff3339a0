#include "zolv-obj.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-property-cache.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"

#include <cstring>
#include <string>

enum { PROP_NAME = 1, PROP_PERIPHERAL_TYPE };

namespace {

constexpr char object_path_prefix[] = "/com/tarvel/Perimond/";

} // namespace

struct _ZolvObjPrivate {
    explicit _ZolvObjPrivate(ZolvObj *obj);
    _ZolvObjPrivate(const _ZolvObjPrivate &) = delete;
    _ZolvObjPrivate &operator=(const _ZolvObjPrivate &) = delete;
    ~_ZolvObjPrivate();

    ZolvObj *self; /* not owned */
    zolv::ObjectPtr<ZolvGdbusObj> skeleton{zolv_gdbus_obj_skeleton_new()};
    zolv::ObjectPtr<GDBusObjectManagerServer> object_manager;
    std::string id;
    std::string object_path;
    std::string exported_path; /* empty while not exported; renaming does not move the object */
};

/* GIO refuses any other path with a critical, and crashes at the export. A name with a slash would
 * give a path that is valid, but that lies below another object's. */
static bool
path_is_valid(const ZolvObjPrivate *priv)
{
    return g_variant_is_object_path(priv->object_path.c_str()) &&
           strchr(zolv_gdbus_obj_get_name(priv->skeleton.get()), '/') == nullptr;
}

static void
update_id(ZolvObj *self)
{
    ZolvObjPrivate *priv = self->priv;
    const char *type = zolv_gdbus_obj_get_peripheral_type(priv->skeleton.get());
    const char *name = zolv_gdbus_obj_get_name(priv->skeleton.get());

    if (type == nullptr || name == nullptr)
        return;
    priv->id = std::string(type) + "/" + name;
    priv->object_path = object_path_prefix + priv->id;
    if (path_is_valid(priv))
        g_object_set(self, "g-object-path", priv->object_path.c_str(), nullptr);
}

static void
export_obj(ZolvObj *self)
{
    ZolvObjPrivate *priv = self->priv;

    if (!priv->exported_path.empty())
        return;
    ZOLV_ASSERT(self->priv->object_manager != NULL);
    if (!path_is_valid(priv)) {
        zolv_obj_log(self, TVL_LOG_ERROR,
                     "Not exported: the name is not a valid object path element");
        return;
    }
    zolv::cache_properties(G_DBUS_OBJECT_SKELETON(self));
    g_dbus_object_manager_server_export(priv->object_manager.get(), G_DBUS_OBJECT_SKELETON(self));
    zolv_obj_log(self, TVL_LOG_INFO, "Exported at '%s'", priv->object_path.c_str());
    priv->exported_path = priv->object_path;
}

static void
unexport_obj(ZolvObj *self)
{
    ZolvObjPrivate *priv = self->priv;

    if (priv->exported_path.empty())
        return;
    ZOLV_ASSERT(self->priv->object_manager != NULL);
    zolv_obj_log(self, TVL_LOG_INFO, "Unexported");
    g_dbus_object_manager_server_unexport(priv->object_manager.get(), priv->exported_path.c_str());
    priv->exported_path.clear();
}

static void
zolv_obj_set_property(GObject *object, guint id, const GValue *value, GParamSpec *pspec)
{
    ZolvObj *self = ZOLV_OBJ(object);
    ZolvGdbusObj *skeleton = self->priv->skeleton.get();
    const char *text = g_value_get_string(value);

    switch (id) {
    case PROP_NAME:
        zolv_gdbus_obj_set_name(skeleton, text ? zolv::fit_text(text).c_str() : nullptr);
        break;
    case PROP_PERIPHERAL_TYPE:
        zolv_gdbus_obj_set_peripheral_type(skeleton, text);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        return;
    }
    update_id(self);
}

static void
zolv_obj_get_property(GObject *object, guint id, GValue *value, GParamSpec *pspec)
{
    ZolvObj *self = ZOLV_OBJ(object);

    switch (id) {
    case PROP_NAME:
        g_value_set_string(value, zolv_obj_get_name(self));
        break;
    case PROP_PERIPHERAL_TYPE:
        g_value_set_string(value, zolv_obj_get_peripheral_type(self));
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        break;
    }
}

_ZolvObjPrivate::_ZolvObjPrivate(ZolvObj *obj) : self(obj)
{
    zolv_gdbus_object_skeleton_set_obj(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
}

_ZolvObjPrivate::~_ZolvObjPrivate()
{
    zolv_obj_log(self, TVL_LOG_INFO, "Object destroyed");
}

ZOLV_DEFINE_CLASS(ZolvObj, zolv_obj, ZOLV_GDBUS_TYPE_OBJECT_SKELETON)
{
    GObjectClass *object_class = G_OBJECT_CLASS(klass);

    object_class->set_property = zolv_obj_set_property;
    object_class->get_property = zolv_obj_get_property;
    klass->export_obj = export_obj;
    klass->unexport_obj = unexport_obj;

    /* While an object is constructed, its class knows its id already. */
    g_object_class_install_property(
        object_class, PROP_NAME,
        g_param_spec_string("zolv-obj-name", "Name", "The name of the object", nullptr,
                            G_PARAM_READWRITE | G_PARAM_CONSTRUCT | G_PARAM_STATIC_STRINGS));
    g_object_class_install_property(
        object_class, PROP_PERIPHERAL_TYPE,
        g_param_spec_string("zolv-obj-peripheral-type", "Peripheral Type",
                            "The peripheral type of the object", nullptr,
                            G_PARAM_READWRITE | G_PARAM_CONSTRUCT | G_PARAM_STATIC_STRINGS));
}

ZolvObj *
zolv_obj_new(GType object_type, GDBusObjectManagerServer *object_manager,
             const gchar *peripheral_type, const gchar *name)
{
    ZOLV_ASSERT(object_manager != NULL);
    ZOLV_ASSERT(G_IS_DBUS_OBJECT_MANAGER_SERVER(object_manager));

    ZolvObj *obj = ZOLV_OBJ(g_object_new(object_type, "zolv-obj-name", name,
                                         "zolv-obj-peripheral-type", peripheral_type, nullptr));
    ZOLV_ASSERT(obj->priv->object_manager == NULL);
    obj->priv->object_manager.reset(
        static_cast<GDBusObjectManagerServer *>(g_object_ref(object_manager)));
    ZOLV_OBJ_DEBUG(obj, "Object created");
    return obj;
}

void
zolv_obj_export(ZolvObj *self)
{
    ZOLV_ASSERT(ZOLV_IS_OBJ(self));
    ZOLV_OBJ_GET_CLASS(self)->export_obj(self);
}

void
zolv_obj_unexport(ZolvObj *self)
{
    ZOLV_ASSERT(ZOLV_IS_OBJ(self));
    ZOLV_OBJ_GET_CLASS(self)->unexport_obj(self);
}

void
zolv_obj_define_sysfs_path(ZolvObj *self, const gchar *path)
{
    zolv_gdbus_obj_set_sysfs_path(self->priv->skeleton.get(),
                                  path ? zolv::fit_text(path).c_str() : nullptr);
}

const gchar *
zolv_obj_get_name(ZolvObj *self)
{
    return zolv_gdbus_obj_get_name(self->priv->skeleton.get());
}

const gchar *
zolv_obj_get_peripheral_type(ZolvObj *self)
{
    return zolv_gdbus_obj_get_peripheral_type(self->priv->skeleton.get());
}

const gchar *
zolv_obj_get_sysfs_path(ZolvObj *self)
{
    return zolv_gdbus_obj_get_sysfs_path(self->priv->skeleton.get());
}

const gchar *
zolv_obj_get_id(ZolvObj *self)
{
    return self->priv->id.empty() ? nullptr : self->priv->id.c_str();
}

gboolean
zolv_obj_is_exported(ZolvObj *self)
{
    return !self->priv->exported_path.empty();
}

void
zolv_obj_log(ZolvObj *self, int level, const char *format, ...)
{
    va_list arguments;

    if (!zolv::log_enabled(level))
        return;
    va_start(arguments, format);
    zolv::log_line(level, self->priv->id.c_str(), format, arguments);
    va_end(arguments);
}

void
zolv_obj_log_failed_step(ZolvObj *self, const char *text)
{
    _tvl_log(TVL_LOG_ERROR, "%s", text);
    zolv_obj_log(self, TVL_LOG_WARN, "Definition: %s", text);
}
