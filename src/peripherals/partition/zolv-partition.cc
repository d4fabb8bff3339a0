#include "peripherals/partition/zolv-partition.h"

#include "core/zolv-assert.h"
#include "core/zolv-bus-call.h"
#include "core/zolv-class.h"
#include "core/zolv-device-node.h"
#include "core/zolv-fail.h"
#include "core/zolv-mounts.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "helpers/zolv-disk-names.h"
#include "peripherals/partition/zolv-luks-volume.h"
#include "peripherals/partition/zolv-partition-mount.h"
#include "peripherals/partition/zolv-partition-probe.h"
#include "peripherals/partition/zolv-partition-refresh.h"

#include <cstring>
#include <string>
#include <unistd.h>

#define MOUNT_FOLDER "/media/"
#define LUKS_TYPE "crypto_LUKS"
#define MAPPER_SUFFIX "_encrypted"

using zolv::fail;
using zolv::failf;
using zolv::fit_text;

struct _ZolvPartitionPrivate {
    explicit _ZolvPartitionPrivate(ZolvPartition *partition);
    ~_ZolvPartitionPrivate();
    _ZolvPartitionPrivate(const _ZolvPartitionPrivate &) = delete;
    _ZolvPartitionPrivate &operator=(const _ZolvPartitionPrivate &) = delete;

    ZolvPartition *self;
    zolv::ObjectPtr<ZolvGdbusObjPartition> skeleton{zolv_gdbus_obj_partition_skeleton_new()};
    zolv::ObjectPtr<ZolvDisk> disk;
    zolv::DeviceNode device;
    zolv::LuksVolume volume;
    std::string mount_point; /* its own */
    std::string mounted_at;  /* where it is, as the mount table has it; empty while unknown */
};

namespace {

/* A passphrase as the bus brought it: all copies that are within reach are wiped before the call is
 * answered. */
class Passphrase {
  public:
    Passphrase(const gchar *argument, GDBusMethodInvocation *invocation)
        : argument_(argument), message_(g_variant_get_child_value(
                                   g_dbus_method_invocation_get_parameters(invocation), 0))
    {
    }
    Passphrase(const Passphrase &) = delete;
    Passphrase &operator=(const Passphrase &) = delete;
    ~Passphrase()
    {
        wipe(argument_);
        wipe(g_variant_get_string(message_, nullptr));
        g_variant_unref(message_);
    }

  private:
    /* Both are in memory of their own that nobody else reads. */
    static void wipe(const gchar *text) { explicit_bzero(const_cast<gchar *>(text), strlen(text)); }

    const gchar *argument_;
    GVariant *message_;
};

using PassphraseOperation = gboolean (*)(ZolvPartition *self, const char *passphrase,
                                         GError **error);

bool
use_passphrase(ZolvPartition *self, PassphraseOperation operation, const gchar *argument,
               GDBusMethodInvocation *invocation, GError **error)
{
    const Passphrase secret(argument, invocation);

    return operation(self, argument, error);
}

bool
is_on_system_disk(const ZolvPartitionPrivate *priv)
{
    return priv->disk != nullptr && zolv_disk_get_is_system_disk(priv->disk.get());
}

bool
is_mounted(const ZolvPartitionPrivate *priv)
{
    return zolv_gdbus_obj_partition_get_is_mounted(priv->skeleton.get());
}

void
set_mapper_device(ZolvPartitionPrivate *priv, bool is_open)
{
    zolv_gdbus_obj_partition_set_mapper_device(
        priv->skeleton.get(), is_open ? fit_text(priv->volume.mapper_name()).c_str() : nullptr);
}

/* What is mounted; the mapped device when the volume is open. */
const std::string &
mount_source(const ZolvPartitionPrivate *priv)
{
    const char *mapper = zolv_gdbus_obj_partition_get_mapper_device(priv->skeleton.get());

    return mapper != nullptr ? priv->volume.mapper_path() : priv->device.path();
}

/* Gives the open volume a file system if it holds none, and closes it if that fails. Nothing is
 * formatted but what was found to be empty: the mapped device is held open from the look at it to
 * the end. */
bool
fill_volume(ZolvPartitionPrivate *priv, GError **error)
{
    const char *path = priv->volume.mapper_path().c_str();
    g_autoptr(GError) not_found = nullptr;
    zolv::DeviceNode mapped;
    zolv::CharPtr type;

    mapped.define(path);
    zolv::UniqueFd held = mapped.hold();
    const zolv::ProbeResult result = zolv::probe(path, "TYPE", type, &not_found);
    if (result == zolv::ProbeResult::found)
        return true;
    if (result != zolv::ProbeResult::nothing || !held || !mapped.is_at(path) ||
        !priv->volume.is_mapped()) {
        g_propagate_error(error, g_steal_pointer(&not_found));
        return false;
    }
    if (zolv_partition_format(path, error))
        return true;
    held.reset(); /* what is in use cannot be closed */
    zolv_partition_luks_close(priv->self, nullptr);
    return false;
}

/* Somebody may have mounted something else over it: that is not ours to unmount. */
bool
is_on_top(const ZolvPartitionPrivate *priv, const std::string &target)
{
    zolv::Mounts table;
    libmnt_fs *top = table.read() ? table.on_top_at(target.c_str()) : nullptr;
    const char *source = top != nullptr ? mnt_fs_get_srcpath(top) : nullptr;

    return source == nullptr || priv->device.path() == source ||
           priv->volume.mapper_path() == source;
}

} // namespace

static gboolean
handle_mount(ZolvGdbusObjPartition *skeleton, GDBusMethodInvocation *invocation,
             ZolvPartition *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, {}, "Mount()");

    if (zolv_partition_mount(self, call.error()))
        zolv_gdbus_obj_partition_complete_mount(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_unmount(ZolvGdbusObjPartition *skeleton, GDBusMethodInvocation *invocation,
               ZolvPartition *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, {}, "Unmount()");

    if (zolv_partition_unmount(self, FALSE, call.error()))
        zolv_gdbus_obj_partition_complete_unmount(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_get_uuid(ZolvGdbusObjPartition *skeleton, GDBusMethodInvocation *invocation,
                ZolvPartition *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, {TVL_LOG_DEBUG, TVL_LOG_DEBUG, TVL_LOG_DEBUG},
                       "GetUUID()");
    g_autofree char *uuid = nullptr;

    if (zolv_partition_get_uuid(self, &uuid, call.error()))
        zolv_gdbus_obj_partition_complete_get_uuid(skeleton, call.ok(), fit_text(uuid).c_str());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_initialize_luks(ZolvGdbusObjPartition *skeleton, GDBusMethodInvocation *invocation,
                       const gchar *passphrase, ZolvPartition *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, {}, "InitializeLUKS()");

    if (use_passphrase(self, zolv_partition_initialize_luks, passphrase, invocation, call.error()))
        zolv_gdbus_obj_partition_complete_initialize_luks(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_remap_luks(ZolvGdbusObjPartition *skeleton, GDBusMethodInvocation *invocation,
                  const gchar *passphrase, ZolvPartition *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, {}, "RemapLUKS()");

    if (use_passphrase(self, zolv_partition_remap_luks, passphrase, invocation, call.error()))
        zolv_gdbus_obj_partition_complete_remap_luks(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

_ZolvPartitionPrivate::_ZolvPartitionPrivate(ZolvPartition *partition)
    : self(partition), volume(ZOLV_OBJ(partition), device)
{
    zolv_gdbus_object_skeleton_set_obj_partition(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
    zolv::connect_handlers(skeleton.get(), ZOLV_OBJ(self),
                           {{"handle-mount", G_CALLBACK(handle_mount)},
                            {"handle-unmount", G_CALLBACK(handle_unmount)},
                            {"handle-get-uuid", G_CALLBACK(handle_get_uuid)},
                            {"handle-initialize-luks", G_CALLBACK(handle_initialize_luks)},
                            {"handle-remap-luks", G_CALLBACK(handle_remap_luks)}});
}

/* The disk has gone, or the daemon ends: nobody would unmount it any more. */
_ZolvPartitionPrivate::~_ZolvPartitionPrivate()
{
    g_autoptr(GError) error = nullptr;

    if (is_mounted(this) && !is_on_system_disk(this)) {
        const bool lazy = disk != nullptr && zolv_disk_get_auto_mount_setting(disk.get()) &&
                          g_strcmp0(g_getenv("LAZY_UNMOUNT"), "true") == 0;
        if (!zolv_partition_unmount(self, lazy, &error))
            zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Left behind mounted at '%s': %s",
                         fit_text(mounted_at).c_str(), error->message);
    }
    if (volume.opened())
        volume.close(nullptr);
}

ZOLV_DEFINE_CLASS(ZolvPartition, zolv_partition, ZOLV_TYPE_OBJ)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Partition");
}

void
zolv_partition_bind_disk(ZolvPartition *self, ZolvDisk *disk)
{
    ZOLV_ASSERT(disk != NULL);
    ZOLV_ASSERT(ZOLV_IS_DISK(disk));

    self->priv->disk.reset(ZOLV_DISK(g_object_ref(disk)));
    zolv_gdbus_obj_partition_set_disk(self->priv->skeleton.get(),
                                      zolv_obj_get_name(ZOLV_OBJ(disk)));
}

void
zolv_partition_define_device(ZolvPartition *self, const char *device)
{
    self->priv->device.define(device);
    zolv_gdbus_obj_partition_set_device(self->priv->skeleton.get(), fit_text(device).c_str());
}

/* On the system disk the name is that of the partition, whatever the disk is called. */
static std::string
mapper_name_for(const ZolvPartitionPrivate *priv, const char *device)
{
    if (!is_on_system_disk(priv)) {
        g_autofree char *base = g_path_get_basename(device);
        return std::string(base) + MAPPER_SUFFIX;
    }
    const std::string_view suffix =
        zolv::partition_suffix(device, zolv_disk_get_device_name_length(priv->disk.get()));
    return "p" + std::string(suffix) + MAPPER_SUFFIX;
}

void
zolv_partition_initialize(ZolvPartition *self, const char *device)
{
    ZolvPartitionPrivate *priv = self->priv;
    g_autoptr(GError) error = nullptr;

    priv->mount_point = std::string(MOUNT_FOLDER) + zolv_obj_get_name(ZOLV_OBJ(self));
    priv->volume.define_mapper_name(mapper_name_for(priv, device));
    zolv_partition_update_info(self);
    if (priv->disk != nullptr && zolv_disk_get_auto_mount_setting(priv->disk.get())) {
        if (zolv_partition_mount(self, &error))
            zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_INFO, "Mount() OK");
        else
            zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_ERROR, "Mount() failed: %s",
                         fit_text(error->message).c_str());
    }
    zolv_obj_export(ZOLV_OBJ(self));
}

void
zolv::refresh_partition(ZolvPartition *partition, const Mounts *table)
{
    ZolvPartitionPrivate *priv = partition->priv;

    if (table == nullptr) {
        zolv_obj_log(ZOLV_OBJ(partition), TVL_LOG_WARN, "Update mount info failed");
        return;
    }
    libmnt_fs *mapped = table->last_of(priv->volume.mapper_path());
    libmnt_fs *plain = table->first_of(priv->device.path());
    libmnt_fs *mount = plain != nullptr ? plain : mapped;
    const char *target = mount != nullptr ? mnt_fs_get_target(mount) : nullptr;
    const char *type = mount != nullptr ? mnt_fs_get_fstype(mount) : nullptr;

    priv->mounted_at = target != nullptr ? target : "";
    set_mapper_device(priv, mapped != nullptr);
    zolv_gdbus_obj_partition_set_is_mounted(priv->skeleton.get(), mount != nullptr);
    zolv_gdbus_obj_partition_set_filesystem_type(
        priv->skeleton.get(), type != nullptr ? fit_text(type).c_str() : nullptr);
    zolv_gdbus_obj_partition_set_mount_point(
        priv->skeleton.get(), target != nullptr ? fit_text(target).c_str() : nullptr);
}

void
zolv_partition_update_info(ZolvPartition *self)
{
    zolv::Mounts table;

    zolv::refresh_partition(self, table.read() ? &table : nullptr);
}

guint
zolv_partition_is_mount(ZolvPartition *self, guint *disk_type)
{
    const ZolvPartitionPrivate *priv = self->priv;

    if (priv->disk == nullptr)
        return 0;
    *disk_type = zolv_disk_get_disk_type(priv->disk.get());
    return is_mounted(priv) ? 1 : 2;
}

gboolean
zolv_partition_mount(ZolvPartition *self, GError **error)
{
    ZolvPartitionPrivate *priv = self->priv;
    const bool was_opened = priv->volume.opened();
    zolv::CharPtr type;

    if (is_on_system_disk(priv))
        return fail(error, ZOLV_CORE_ERROR_NOT_PERMIT,
                    "Mount operation on system disk is not permitted");
    if (is_mounted(priv))
        return failf(error, ZOLV_CORE_ERROR_NOT_PERMIT, "Partition is already mounted at '%s'",
                     fit_text(priv->mounted_at).c_str());
    if (zolv::probe(priv->device.path().c_str(), "TYPE", type, error) != zolv::ProbeResult::found)
        return FALSE;

    const bool is_ready = strcmp(type.get(), LUKS_TYPE) != 0 ||
                          (zolv_partition_luks_open(self, error) && fill_volume(priv, error));
    if (!is_ready ||
        !zolv::mount_at(mount_source(priv).c_str(), priv->mount_point.c_str(), error)) {
        /* What was opened for this mount alone does not stay open without it. */
        if (!was_opened && priv->volume.opened())
            zolv_partition_luks_close(self, nullptr);
        return FALSE;
    }
    /* Where it was before is no longer true. */
    priv->mounted_at.clear();
    zolv_gdbus_obj_partition_set_is_mounted(priv->skeleton.get(), TRUE);
    return TRUE;
}

gboolean
zolv_partition_unmount(ZolvPartition *self, gboolean lazy, GError **error)
{
    ZolvPartitionPrivate *priv = self->priv;

    if (is_on_system_disk(priv))
        return fail(error, ZOLV_CORE_ERROR_NOT_PERMIT,
                    "Unmount operation on system disk is not permitted");
    /* Where it was mounted a moment ago is not known before the table's change is handled. */
    if (is_mounted(priv) && priv->mounted_at.empty())
        zolv_partition_update_info(self);
    if (!is_mounted(priv))
        return failf(error, ZOLV_CORE_ERROR_NOT_PERMIT, "Partition is already unmounted at '%s'",
                     fit_text(priv->mounted_at).c_str());

    const std::string target = priv->mounted_at;
    if (!is_on_top(priv, target))
        return fail(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, "Unmount failed");
    if (!zolv::unmount_at(target.c_str(), lazy, error))
        return FALSE;
    if (target == priv->mount_point)
        (void)rmdir(target.c_str());
    if (zolv_gdbus_obj_partition_get_mapper_device(priv->skeleton.get()) != nullptr &&
        !zolv_partition_luks_close(self, error))
        return FALSE;
    zolv_gdbus_obj_partition_set_is_mounted(priv->skeleton.get(), FALSE);
    return TRUE;
}

/* A change of a volume that is in use: unmounts, changes, mounts again. */
template <typename Change>
static gboolean
change_volume(ZolvPartition *self, Change change, GError **error)
{
    if (!is_mounted(self->priv))
        return change();
    return zolv_partition_unmount(self, FALSE, error) && change() &&
           zolv_partition_mount(self, error);
}

static bool
check_luks_is_permitted(ZolvPartition *self, GError **error)
{
    return !is_on_system_disk(self->priv) ||
           fail(error, ZOLV_CORE_ERROR_NOT_PERMIT,
                "LUKS initialization process failed: operation on system disk is not permitted");
}

gboolean
zolv_partition_initialize_luks(ZolvPartition *self, const char *passphrase, GError **error)
{
    return check_luks_is_permitted(self, error) &&
           change_volume(
               self, [=] { return zolv_partition_luks_init(self, passphrase, error); }, error);
}

gboolean
zolv_partition_remap_luks(ZolvPartition *self, const char *passphrase, GError **error)
{
    g_autofree char *type = nullptr;

    if (!check_luks_is_permitted(self, error) ||
        !zolv_partition_get_filesystem_type(self, &type, error))
        return FALSE;
    if (strcmp(type, LUKS_TYPE) != 0)
        return fail(error, ZOLV_CORE_ERROR_NOT_PERMIT,
                    "LUKS remap process failed: partition is not a LUKS partition");
    return change_volume(
        self, [=] { return zolv_partition_luks_changekey(self, passphrase, error); }, error);
}

gboolean
zolv_partition_luks_init(ZolvPartition *self, const char *passphrase, GError **error)
{
    return self->priv->volume.format(passphrase, error);
}

gboolean
zolv_partition_luks_open(ZolvPartition *self, GError **error)
{
    if (!self->priv->volume.open(error))
        return FALSE;
    set_mapper_device(self->priv, true);
    return TRUE;
}

gboolean
zolv_partition_luks_close(ZolvPartition *self, GError **error)
{
    if (!self->priv->volume.close(error))
        return FALSE;
    set_mapper_device(self->priv, false);
    return TRUE;
}

gboolean
zolv_partition_luks_changekey(ZolvPartition *self, const char *passphrase, GError **error)
{
    return self->priv->volume.change_key(passphrase, error);
}

gboolean
zolv_partition_blkid_lookup_value(const char *device, const char *tag, char **value, GError **error)
{
    zolv::CharPtr found;

    if (zolv::probe(device, tag, found, error) != zolv::ProbeResult::found)
        return FALSE;
    *value = found.release();
    return TRUE;
}

gboolean
zolv_partition_get_uuid(ZolvPartition *self, char **uuid, GError **error)
{
    return zolv_partition_blkid_lookup_value(self->priv->device.path().c_str(), "UUID", uuid,
                                             error);
}

gboolean
zolv_partition_get_filesystem_type(ZolvPartition *self, char **type, GError **error)
{
    return zolv_partition_blkid_lookup_value(self->priv->device.path().c_str(), "TYPE", type,
                                             error);
}
