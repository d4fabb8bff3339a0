#pragma once

#include "peripherals/disk/zolv-disk.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_PARTITION (zolv_partition_get_type())
ZOLV_DECLARE_CLASS(ZolvPartition, zolv_partition, PARTITION, ZolvObj)

/**
 * ZolvPartitionClass:
 *
 * A partition of a disk, which makes and removes it. It is mounted below /media in a directory
 * named like the object, by a client or automatically; one that is mounted by somebody else is
 * shown as it is. The content may be a LUKS volume: it is opened with the passphrase that is stored
 * for it, and its mapped device is mounted instead.
 *
 * All that changes, probes or mounts holds the main loop while it takes.
 *
 * Common errors: %ZOLV_CORE_ERROR_NOT_PERMIT for a partition of the system disk and for what the
 * present state does not allow; %ZOLV_CORE_ERROR_EXTERNAL_LIB for a step that failed in libmount,
 * libblkid or libcryptsetup.
 */
struct _ZolvPartitionClass {
    ZolvObjClass parent_class;
};

/** zolv_partition_bind_disk: tells the disk, of which a reference is kept. */
ZOLV_API void zolv_partition_bind_disk(ZolvPartition *self, ZolvDisk *disk);

/**
 * zolv_partition_define_device:
 * @device: device file, such as "/dev/sda1"; copied
 *
 * The device that the file stands for at this moment is remembered: when it has become another one,
 * nothing of LUKS is done to it.
 */
ZOLV_API void zolv_partition_define_device(ZolvPartition *self, const char *device);

/**
 * zolv_partition_initialize:
 * @device: the device file once more
 *
 * Mounts the partition if its disk says so, and exports it; the last call of a definition.
 */
ZOLV_API void zolv_partition_initialize(ZolvPartition *self, const char *device);

/** zolv_partition_update_info: publishes what the mount table says of the partition. */
ZOLV_API void zolv_partition_update_info(ZolvPartition *self);

/**
 * zolv_partition_is_mount:
 * @disk_type: (out): the disk's type; untouched when there is no disk
 *
 * Returns: 0 without a disk, 1 when mounted, 2 when not
 */
ZOLV_API guint zolv_partition_is_mount(ZolvPartition *self, guint *disk_type);

/**
 * zolv_partition_mount:
 *
 * Mounts the partition at its own mount point, with the flags that the environment variable
 * MOUNT_OPTION asks for ("noexec", "nosuid", "nodev", or "secure" for all three). A LUKS volume
 * that holds no file system gets one first.
 *
 * Errors: %ZOLV_CORE_ERROR_FAILED when no passphrase is stored for a LUKS volume;
 * %ZOLV_CORE_ERROR_SYSTEM when there can be no mount point, as when a file or a link is in its
 * place; %ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT for a file system that no volume gets.
 */
ZOLV_API gboolean zolv_partition_mount(ZolvPartition *self, GError **error);

/**
 * zolv_partition_unmount:
 * @lazy: whether it only vanishes from the mount table while it is in use
 *
 * Unmounts the partition, wherever it is mounted, and closes its LUKS volume.
 */
ZOLV_API gboolean zolv_partition_unmount(ZolvPartition *self, gboolean lazy, GError **error);

/** zolv_partition_initialize_luks: makes a LUKS volume of the partition, whose content is lost, and
 * stores @passphrase. A mounted partition is unmounted before and mounted afterwards. */
ZOLV_API gboolean zolv_partition_initialize_luks(ZolvPartition *self, const char *passphrase,
                                                 GError **error);

/** zolv_partition_remap_luks: stores @passphrase if it opens the LUKS volume, which stays as it is.
 * A mounted partition is unmounted before and mounted afterwards; when the passphrase is wrong it
 * stays unmounted. */
ZOLV_API gboolean zolv_partition_remap_luks(ZolvPartition *self, const char *passphrase,
                                            GError **error);

/* The steps of the above, without their checks. */

/** zolv_partition_luks_init: formats the partition as a LUKS volume and stores @passphrase. */
ZOLV_API gboolean zolv_partition_luks_init(ZolvPartition *self, const char *passphrase,
                                           GError **error);
/** zolv_partition_luks_open: opens the volume with its stored passphrase, unless it is open. */
ZOLV_API gboolean zolv_partition_luks_open(ZolvPartition *self, GError **error);
/** zolv_partition_luks_close: closes the volume. */
ZOLV_API gboolean zolv_partition_luks_close(ZolvPartition *self, GError **error);
/** zolv_partition_luks_changekey: stores @passphrase if it opens the volume. */
ZOLV_API gboolean zolv_partition_luks_changekey(ZolvPartition *self, const char *passphrase,
                                                GError **error);

/**
 * zolv_partition_format:
 * @device: a device whose content may go
 *
 * Runs the mkfs program of the file system that the environment variable LUKS_FILESYSTEM_FORMAT
 * names, of ext4 without it. How that ends is not looked at.
 *
 * Errors: %ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT for any other than ext4, fat, exfat, ntfs, vfat, xfs;
 * %ZOLV_CORE_ERROR_EXTERNAL_LIB when the program cannot be started
 */
ZOLV_API gboolean zolv_partition_format(const char *device, GError **error);

/**
 * zolv_partition_blkid_lookup_value:
 * @tag: "UUID" or "TYPE"
 * @value: (out) (transfer full): what libblkid finds; g_free() it. Untouched on failure
 */
ZOLV_API gboolean zolv_partition_blkid_lookup_value(const char *device, const char *tag,
                                                    char **value, GError **error);

/** zolv_partition_get_uuid: the tag "UUID" of the partition. */
ZOLV_API gboolean zolv_partition_get_uuid(ZolvPartition *self, char **uuid, GError **error);
/** zolv_partition_get_filesystem_type: the tag "TYPE" of the partition. */
ZOLV_API gboolean zolv_partition_get_filesystem_type(ZolvPartition *self, char **type,
                                                     GError **error);

G_END_DECLS
