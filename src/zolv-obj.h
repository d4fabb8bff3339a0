#pragma once

#include "zolv-api.h"
#include <zolv-gdbus-object.h>

G_BEGIN_DECLS

#define ZOLV_TYPE_OBJ (zolv_obj_get_type())
ZOLV_DECLARE_CLASS(ZolvObj, zolv_obj, OBJ, ZolvGdbusObjectSkeleton)

/**
 * ZolvObjClass:
 * @export_obj: publishes the object on the bus
 * @unexport_obj: withdraws it
 *
 * The base of every peripheral object: an object on the bus with the common interface
 * com.tarvel.Perimond.Obj. Its id is the peripheral type word, a slash and the name, such as
 * LED/LED1; its path is "/com/tarvel/Perimond/" and the id.
 */
struct _ZolvObjClass {
    ZolvGdbusObjectSkeletonClass parent_class;
    void (*export_obj)(ZolvObj *self);
    void (*unexport_obj)(ZolvObj *self);
};

/**
 * zolv_obj_new:
 * @object_type: a subclass of ZolvObj
 * @object_manager: the server to export on; a reference is taken
 * @peripheral_type: the type word, such as "LED"
 * @name: the name within its type; a valid element of a D-Bus path, which is letters, digits and
 *   underscores
 *
 * Model plugins call zolv_base_manager_create_new_object() instead.
 *
 * Returns: (transfer full): the new object, not exported yet
 */
ZOLV_API ZolvObj *zolv_obj_new(GType object_type, GDBusObjectManagerServer *object_manager,
                               const gchar *peripheral_type, const gchar *name);

/** zolv_obj_export: publishes the object, once however often it is called. An object whose name is
 * no valid element of a D-Bus path is never exported; the log says so. */
ZOLV_API void zolv_obj_export(ZolvObj *self);

/** zolv_obj_unexport: withdraws an exported object from the bus. */
ZOLV_API void zolv_obj_unexport(ZolvObj *self);

/**
 * zolv_obj_define_sysfs_path:
 * @path: (nullable): the device's path in sysfs; copied
 *
 * Sets the bus property SysfsPath.
 */
ZOLV_API void zolv_obj_define_sysfs_path(ZolvObj *self, const gchar *path);

/** zolv_obj_get_name: Returns: (transfer none) (nullable): the name within the type */
ZOLV_API const gchar *zolv_obj_get_name(ZolvObj *self);
/** zolv_obj_get_peripheral_type: Returns: (transfer none) (nullable): the type word */
ZOLV_API const gchar *zolv_obj_get_peripheral_type(ZolvObj *self);
/** zolv_obj_get_sysfs_path: Returns: (transfer none) (nullable): the path in sysfs */
ZOLV_API const gchar *zolv_obj_get_sysfs_path(ZolvObj *self);
/** zolv_obj_get_id: Returns: (transfer none) (nullable): the id, such as LED/LED1 */
ZOLV_API const gchar *zolv_obj_get_id(ZolvObj *self);
/** zolv_obj_is_exported: Returns: whether the object is on the bus */
ZOLV_API gboolean zolv_obj_is_exported(ZolvObj *self);

G_END_DECLS
