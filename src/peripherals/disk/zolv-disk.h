#pragma once

#include "zolv-base-manager.h"
#include <gudev/gudev.h>

G_BEGIN_DECLS

#define ZOLV_TYPE_DISK (zolv_disk_get_type())
ZOLV_DECLARE_CLASS(ZolvDisk, zolv_disk, DISK, ZolvObj)

/**
 * ZolvDiskClass:
 *
 * A storage slot: built-in flash, an SD card slot, a USB port. It knows the disk that is in it from
 * the device events that the plugin passes on, makes a partition object of each partition, and
 * keeps whether they are mounted automatically. A slot comes on the bus with its first disk, or
 * when the plugin exports it; with an I/O state other than 0 it stays there when the disk goes.
 *
 * The order of a definition: zolv_disk_bind_bootenv(), zolv_disk_init_iostate(),
 * zolv_disk_define_disk_type(), and zolv_disk_export() for a slot that is there without a disk.
 */
struct _ZolvDiskClass {
    ZolvObjClass parent_class;
};

/**
 * ZolvDiskIOStateFunc:
 * @data: what zolv_disk_init_iostate() was given
 * @user_data: the same once more
 *
 * Returns: the state at the start: 0 not applicable, 1 disabled, 2 enabled
 */
typedef guint (*ZolvDiskIOStateFunc)(ZolvDisk *self, gpointer data, gpointer user_data);

/**
 * zolv_disk_define_disk_type:
 * @type: 1 takes only partitions whose device file begins with the disk's; 2 takes a disk only when
 *   it has a partition table; any other number has no rules of its own. Storage LEDs show the types
 *   1 to 4; one above 5 is left out of them, with a warning.
 *
 * Publishes whether partitions are mounted automatically, as it is stored; by default they are not.
 */
ZOLV_API void zolv_disk_define_disk_type(ZolvDisk *self, guint type);

/** zolv_disk_define_is_system_disk: whether the system was booted from the disk in this slot, where
 * the kernel's command line does not tell. Its partitions are neither mounted nor changed. */
ZOLV_API void zolv_disk_define_is_system_disk(ZolvDisk *self, gboolean is_system_disk);

/**
 * zolv_disk_bind_bootenv:
 * @bootenv: name of the variable that switches the slot on; copied
 *
 * The variable is written when a client asks for a state, and once more at the object's end, where
 * it then differs from what is stored.
 */
ZOLV_API void zolv_disk_bind_bootenv(ZolvDisk *self, const char *bootenv);

/** zolv_disk_enable_directly: for a slot without a variable. Returns: 2 */
ZOLV_API guint zolv_disk_enable_directly(ZolvDisk *self, gpointer data, gpointer user_data);

/** zolv_disk_enable_by_bootenv: for a slot with a variable; without one the process ends.
 * Returns: 2 for "1", 1 for "0", 0 for everything else; failures are logged */
ZOLV_API guint zolv_disk_enable_by_bootenv(ZolvDisk *self, gpointer data, gpointer user_data);

/**
 * zolv_disk_init_iostate:
 * @callback: one of the two functions above, or one of the plugin's own; called once, at once
 * @user_data: handed to @callback twice
 *
 * Publishes the state, and stores it unless it is 0.
 */
ZOLV_API void zolv_disk_init_iostate(ZolvDisk *self, ZolvDiskIOStateFunc callback,
                                     gpointer user_data);

/** zolv_disk_is_available: Returns: whether the slot is not disabled; one whose state is not
 * applicable is available */
ZOLV_API gboolean zolv_disk_is_available(ZolvDisk *self);

/** zolv_disk_export: publishes the object on the bus. */
ZOLV_API void zolv_disk_export(ZolvDisk *self);
/** zolv_disk_unexport: withdraws it. */
ZOLV_API void zolv_disk_unexport(ZolvDisk *self);

/** zolv_disk_get_is_system_disk: Returns: whether the system was booted from this disk */
ZOLV_API gboolean zolv_disk_get_is_system_disk(ZolvDisk *self);
/** zolv_disk_get_auto_mount_setting: Returns: whether its partitions are mounted automatically */
ZOLV_API gboolean zolv_disk_get_auto_mount_setting(ZolvDisk *self);
/** zolv_disk_get_disk_type: Returns: what zolv_disk_define_disk_type() was given, 0 before */
ZOLV_API guint zolv_disk_get_disk_type(ZolvDisk *self);
/** zolv_disk_get_device_name_length: Returns: length of the disk's device file in bytes, 0 when
 * there is no disk */
ZOLV_API guint zolv_disk_get_device_name_length(ZolvDisk *self);

/** zolv_disk_init_floating_system_disk: reads from the kernel's command line which device holds the
 * root file system; every new object does it. A root that is given by UUID or label tells
 * nothing. */
ZOLV_API void zolv_disk_init_floating_system_disk(void);

/**
 * zolv_disk_device_add:
 * @device: (transfer none): a disk or partition that has come, and belongs to this slot
 *
 * The first disk is taken and announced by the signal hotPlug, unless the system was booted from
 * it; a second one is only logged. A partition becomes an object, and is mounted if the slot says
 * so.
 */
ZOLV_API void zolv_disk_device_add(ZolvDisk *self, ZolvBaseManager *manager, GUdevDevice *device);

/** zolv_disk_device_change: the disk in a slot of type 2 has got, or lost, its partition table:
 * partitions are taken from then on, or no longer. Nothing is exported or announced. */
ZOLV_API void zolv_disk_device_change(ZolvDisk *self, ZolvBaseManager *manager,
                                      GUdevDevice *device);

/** zolv_disk_device_remove: the disk, or a partition of it, has gone. */
ZOLV_API void zolv_disk_device_remove(ZolvDisk *self, ZolvBaseManager *manager,
                                      GUdevDevice *device);

G_END_DECLS
