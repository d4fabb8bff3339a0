/* The probe's commands about disks and partitions. NAME is an object's name, made when it is not
 * there. */
#include "probe.h"

#include <string.h>

static ZolvDisk *
disk(const Call *call)
{
    return ZOLV_DISK(
        zolv_base_manager_create_new_object(call->manager, ZOLV_TYPE_DISK, call->words[1]));
}

static ZolvPartition *
partition(const Call *call)
{
    return ZOLV_PARTITION(
        zolv_base_manager_create_new_object(call->manager, ZOLV_TYPE_PARTITION, call->words[1]));
}

/* disk NAME TYPE */
static void
do_disk(const Call *call)
{
    zolv_disk_define_disk_type(disk(call), probe_number(call, 2));
}

/* disk-event ID: the device of this event belongs to that slot; one that was scanned has come */
static void
do_event(const Call *call)
{
    const char *action = g_udev_device_get_action(call->device);
    ZolvDisk *slot = ZOLV_DISK(probe_obj(call));

    if (action == NULL || strcmp(action, "add") == 0)
        zolv_disk_device_add(slot, call->manager, call->device);
    else if (strcmp(action, "remove") == 0)
        zolv_disk_device_remove(slot, call->manager, call->device);
    else
        zolv_disk_device_change(slot, call->manager, call->device);
}

/* disk-bootenv NAME VARIABLE: and its state */
static void
do_bootenv(const Call *call)
{
    ZolvDisk *slot = disk(call);

    zolv_disk_bind_bootenv(slot, probe_optional(call, 2));
    zolv_disk_init_iostate(slot, zolv_disk_enable_by_bootenv, NULL);
}

static guint
told_state(ZolvDisk *self, gpointer data, gpointer user_data)
{
    INFO("asked for the state of %s with %s", zolv_obj_get_id(ZOLV_OBJ(self)),
         data == user_data ? "the same twice" : "different things");
    return GPOINTER_TO_UINT(data);
}

/* disk-state NAME [STATE]: one that the plugin tells, or always enabled */
static void
do_state(const Call *call)
{
    if (probe_optional(call, 2) != NULL)
        zolv_disk_init_iostate(disk(call), told_state, GUINT_TO_POINTER(probe_number(call, 2)));
    else
        zolv_disk_init_iostate(disk(call), zolv_disk_enable_directly, NULL);
}

static void
do_export(const Call *call)
{
    zolv_disk_export(disk(call));
}

static void
do_unexport(const Call *call)
{
    zolv_disk_unexport(disk(call));
}

/* disk-system NAME IS: whether it is the system disk */
static void
do_system(const Call *call)
{
    zolv_disk_define_is_system_disk(disk(call), (gboolean)probe_number(call, 2));
}

/* disk-told NAME: what the functions for plugins tell */
static void
do_told(const Call *call)
{
    ZolvDisk *slot = disk(call);

    INFO("system %d automatic %d type %u length %u available %d",
         zolv_disk_get_is_system_disk(slot), zolv_disk_get_auto_mount_setting(slot),
         zolv_disk_get_disk_type(slot), zolv_disk_get_device_name_length(slot),
         zolv_disk_is_available(slot));
}

/* partition NAME DEVICE: one without a disk */
static void
do_partition(const Call *call)
{
    ZolvPartition *lone = partition(call);

    zolv_partition_define_device(lone, call->words[2]);
    zolv_partition_initialize(lone, call->words[2]);
}

/* mount-state NAME */
static void
do_mount_state(const Call *call)
{
    guint type = 77;
    guint state = zolv_partition_is_mount(partition(call), &type);

    INFO("mount state %u of type %u", state, type);
}

/* mount NAME */
static void
do_mount(const Call *call)
{
    GError *error = NULL;
    gboolean done = zolv_partition_mount(partition(call), &error);

    probe_result(call, done, error);
}

/* unmount NAME LAZY */
static void
do_unmount(const Call *call)
{
    GError *error = NULL;
    gboolean done =
        zolv_partition_unmount(partition(call), (gboolean)probe_number(call, 2), &error);

    probe_result(call, done, error);
}

/* update NAME: looks into the mount table */
static void
do_update(const Call *call)
{
    zolv_partition_update_info(partition(call));
}

/* storage-null WHAT: calls a function without what it needs */
static void
do_null(const Call *call)
{
    const char *function = call->words[1];

    if (strcmp(function, "disk_device_add") == 0)
        zolv_disk_device_add(NULL, call->manager, NULL);
    else if (strcmp(function, "disk_device_change") == 0)
        zolv_disk_device_change(NULL, call->manager, NULL);
    else if (strcmp(function, "disk_device_remove") == 0)
        zolv_disk_device_remove(NULL, call->manager, NULL);
    else if (strcmp(function, "disk_bind_bootenv") == 0)
        zolv_disk_bind_bootenv(disk(call), NULL);
    else if (strcmp(function, "partition_bind_disk") == 0)
        zolv_partition_bind_disk(partition(call), NULL);
}

const Command storage_commands[] = {
    {"disk", do_disk},
    {"disk-event", do_event},
    {"disk-bootenv", do_bootenv},
    {"disk-state", do_state},
    {"disk-export", do_export},
    {"disk-unexport", do_unexport},
    {"disk-system", do_system},
    {"disk-told", do_told},
    {"partition", do_partition},
    {"mount-state", do_mount_state},
    {"mount", do_mount},
    {"unmount", do_unmount},
    {"update", do_update},
    {"storage-null", do_null},
    {NULL, NULL},
};
