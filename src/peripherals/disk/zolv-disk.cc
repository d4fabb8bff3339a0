#include "peripherals/disk/zolv-disk.h"

#include "core/zolv-assert.h"
#include "core/zolv-bus-call.h"
#include "core/zolv-class.h"
#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "helpers/zolv-disk-names.h"
#include "helpers/zolv-setting.h"
#include "peripherals/partition/zolv-partition.h"
#include "peripherals/zolv-io-state.h"

#include <algorithm>
#include <string>
#include <vector>

#define COMMAND_LINE "/proc/cmdline"
#define SYSTEM_DISK_REGEX "root=(/dev/[a-zA-Z0-9]+)"
#define PARTITION_TABLE "ID_PART_TABLE_TYPE"

using zolv::fit_text;

namespace {

enum DiskType : guint {
    disk_type_own_partitions = 1, /* a partition's file begins with the disk's */
    disk_type_with_table = 2,     /* a disk without a partition table is none */
    disk_type_last_shown = 5,     /* of those that storage LEDs know */
};

constexpr std::size_t max_system_disk_length = 255;

/* Where the root file system is, as the kernel's command line has it. */
std::string system_disk;

struct KnownPartition {
    std::string file;
    std::string id; /* of its object */
};

} // namespace

struct _ZolvDiskPrivate {
    explicit _ZolvDiskPrivate(ZolvDisk *self);

    zolv::ObjectPtr<ZolvGdbusObjDisk> skeleton{zolv_gdbus_obj_disk_skeleton_new()};
    zolv::IoState io_state;
    zolv::Setting<bool> auto_mount;
    guint type = 0;
    bool defined = false; /* a disk is there and taken */
    std::string device;
    std::vector<KnownPartition> partitions; /* in the order of their arrival */
};

static gboolean
handle_set_auto_mount(ZolvGdbusObjDisk *skeleton, GDBusMethodInvocation *invocation,
                      gboolean enable, ZolvDisk *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, {}, "SetAutoMount(%s)",
                       enable ? "true" : "false");

    self->priv->auto_mount.store(enable);
    zolv_gdbus_obj_disk_set_auto_mount_setting(skeleton, enable);
    zolv_gdbus_obj_disk_complete_set_auto_mount(skeleton, call.ok());
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

static gboolean
handle_set_iostate(ZolvGdbusObjDisk *skeleton, GDBusMethodInvocation *invocation, guint iostate,
                   ZolvDisk *self)
{
    zolv::BusCall call(ZOLV_OBJ(self), invocation, {}, "SetIOState()");

    if (self->priv->io_state.set(call, iostate))
        zolv_gdbus_obj_disk_complete_set_iostate(
            skeleton, call.ok(", io_state=%d", static_cast<int>(iostate)));
    return G_DBUS_METHOD_INVOCATION_HANDLED;
}

_ZolvDiskPrivate::_ZolvDiskPrivate(ZolvDisk *self)
    : io_state(ZOLV_OBJ(self), skeleton.get(), {.refused_level = TVL_LOG_ERROR}),
      auto_mount(ZOLV_OBJ(self), "AutoMount")
{
    zolv_gdbus_object_skeleton_set_obj_disk(ZOLV_GDBUS_OBJECT_SKELETON(self), skeleton.get());
    zolv::connect_handlers(skeleton.get(), ZOLV_OBJ(self),
                           {{"handle-set-auto-mount", G_CALLBACK(handle_set_auto_mount)},
                            {"handle-set-iostate", G_CALLBACK(handle_set_iostate)}});
    zolv_disk_init_floating_system_disk();
}

ZOLV_DEFINE_CLASS(ZolvDisk, zolv_disk, ZOLV_TYPE_OBJ)
{
    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Disk");
}

ZOLV_DEFINE_IO_STATE_API_WITH(disk, ZolvDisk, (self, user_data, user_data),
                              ZolvDisk *self G_GNUC_UNUSED, gpointer, gpointer);

void
zolv_disk_init_floating_system_disk(void)
{
    g_autofree char *text = nullptr;
    g_autoptr(GError) error = nullptr;

    if (!g_file_get_contents(COMMAND_LINE, &text, nullptr, &error)) {
        _tvl_log(TVL_LOG_WARN, "[Disk] Failed to load float system disk info: %s",
                 fit_text(error->message).c_str());
        return;
    }
    g_strchomp(text);

    g_autoptr(GRegex) regex = g_regex_new(SYSTEM_DISK_REGEX, static_cast<GRegexCompileFlags>(0),
                                          static_cast<GRegexMatchFlags>(0), nullptr);
    g_autoptr(GMatchInfo) match = nullptr;
    if (!g_regex_match(regex, text, static_cast<GRegexMatchFlags>(0), &match)) {
        _tvl_log(TVL_LOG_WARN, "[Disk] Fail to match regex info %s with %s", COMMAND_LINE,
                 fit_text(text).c_str());
        return;
    }
    g_autofree char *root = g_match_info_fetch(match, 1);
    system_disk.assign(root, strnlen(root, max_system_disk_length));
}

void
zolv_disk_define_disk_type(ZolvDisk *self, guint type)
{
    ZolvDiskPrivate *priv = self->priv;

    priv->type = type;
    if (type > disk_type_last_shown)
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "No storage LED can show disk type %u", type);
    zolv_gdbus_obj_disk_set_auto_mount_setting(priv->skeleton.get(),
                                               priv->auto_mount.read_or_store(false));
}

void
zolv_disk_define_is_system_disk(ZolvDisk *self, gboolean is_system_disk)
{
    zolv_gdbus_obj_disk_set_is_system_disk(self->priv->skeleton.get(), is_system_disk);
}

gboolean
zolv_disk_get_is_system_disk(ZolvDisk *self)
{
    return zolv_gdbus_obj_disk_get_is_system_disk(self->priv->skeleton.get());
}

gboolean
zolv_disk_get_auto_mount_setting(ZolvDisk *self)
{
    return zolv_gdbus_obj_disk_get_auto_mount_setting(self->priv->skeleton.get());
}

guint
zolv_disk_get_disk_type(ZolvDisk *self)
{
    return self->priv->type;
}

guint
zolv_disk_get_device_name_length(ZolvDisk *self)
{
    return static_cast<guint>(self->priv->device.size());
}

static void
set_device(ZolvDiskPrivate *priv, const char *file)
{
    priv->device = file;
    zolv_gdbus_obj_disk_set_device(priv->skeleton.get(), fit_text(file).c_str());
}

static void
publish_partitions(ZolvDiskPrivate *priv)
{
    std::vector<std::string> fit;
    std::vector<const char *> files;

    fit.reserve(priv->partitions.size());
    files.reserve(priv->partitions.size() + 1);
    for (const KnownPartition &partition : priv->partitions)
        fit.push_back(fit_text(partition.file));
    for (const std::string &file : fit)
        files.push_back(file.c_str());
    files.push_back(nullptr);
    zolv_gdbus_obj_disk_set_number_of_partitions(priv->skeleton.get(),
                                                 static_cast<guint>(priv->partitions.size()));
    zolv_gdbus_obj_disk_set_partitions(priv->skeleton.get(), files.data());
}

static void
add_disk(ZolvDisk *self, GUdevDevice *device, const char *file)
{
    ZolvDiskPrivate *priv = self->priv;

    if (priv->defined) {
        if (priv->device != file)
            zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN,
                         "Detected a new disk '%s', but device already exists: '%s'",
                         fit_text(file).c_str(), fit_text(priv->device).c_str());
        return;
    }
    set_device(priv, file);
    zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_DEBUG, "Device=%s", fit_text(file).c_str());
    if (priv->type == disk_type_with_table && !g_udev_device_has_property(device, PARTITION_TABLE))
        return;
    priv->defined = true;
    zolv_obj_export(ZOLV_OBJ(self));
    if (zolv::is_of_disk(system_disk, file))
        zolv_gdbus_obj_disk_set_is_system_disk(priv->skeleton.get(), TRUE);
    else
        zolv_gdbus_obj_disk_emit_hot_plug(priv->skeleton.get(), "add", fit_text(file).c_str());
}

static auto
find_partition(ZolvDiskPrivate *priv, const std::string &text, std::string KnownPartition::*member)
{
    return std::find_if(priv->partitions.begin(), priv->partitions.end(),
                        [&](const KnownPartition &partition) { return partition.*member == text; });
}

static bool
takes_partition(const ZolvDiskPrivate *priv, const std::string &file)
{
    return file.size() >= priv->device.size() &&
           (priv->type != disk_type_own_partitions || zolv::is_of_disk(file, priv->device));
}

static void
add_partition(ZolvDisk *self, ZolvBaseManager *manager, const std::string &file)
{
    ZolvDiskPrivate *priv = self->priv;

    if (!priv->defined || !takes_partition(priv, file))
        return;
    if (find_partition(priv, file, &KnownPartition::file) != priv->partitions.end()) {
        _tvl_log(TVL_LOG_WARN, "[Disk] This partition has been added: %s", fit_text(file).c_str());
        return;
    }

    const std::string name = std::string(zolv_obj_get_name(ZOLV_OBJ(self))) + "_p" +
                             std::string(zolv::partition_suffix(file, priv->device.size()));
    const std::string id = "Partition/" + name;
    /* A second disk's partition must not take over the object of the first one's. */
    if (find_partition(priv, id, &KnownPartition::id) != priv->partitions.end()) {
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Partition '%s' is left out: there is a %s",
                     fit_text(file).c_str(), fit_text(id).c_str());
        return;
    }
    priv->partitions.push_back({file, id});
    publish_partitions(priv);

    ZolvPartition *partition = ZOLV_PARTITION(
        zolv_base_manager_create_new_object(manager, ZOLV_TYPE_PARTITION, name.c_str()));
    zolv_partition_bind_disk(partition, self);
    zolv_partition_define_device(partition, file.c_str());
    zolv_partition_initialize(partition, file.c_str());
    zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_DEBUG, "Partition%d=%s",
                 static_cast<int>(priv->partitions.size()), fit_text(file).c_str());
}

static void
remove_disk(ZolvDisk *self, const char *file)
{
    ZolvDiskPrivate *priv = self->priv;

    if (priv->device != file)
        return;
    set_device(priv, "");
    priv->defined = false;
    zolv_gdbus_obj_disk_emit_hot_plug(priv->skeleton.get(), "remove", fit_text(file).c_str());
    if (priv->io_state.published() == zolv::IoState::not_applicable)
        zolv_obj_unexport(ZOLV_OBJ(self));
}

static void
remove_partition(ZolvDisk *self, ZolvBaseManager *manager, const std::string &file)
{
    ZolvDiskPrivate *priv = self->priv;
    const auto known = find_partition(priv, file, &KnownPartition::file);

    if (known == priv->partitions.end())
        return;
    const std::string id = known->id;
    priv->partitions.erase(known);
    publish_partitions(priv);
    zolv_base_manager_remove_object(manager, id.c_str());
    zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_DEBUG, "Remove partition '%s'", fit_text(file).c_str());
}

/* A device without a file is none that could be in a slot. */
static bool
is_a(GUdevDevice *device, const char *type)
{
    return g_strcmp0(g_udev_device_get_devtype(device), type) == 0 &&
           g_udev_device_get_device_file(device) != nullptr;
}

void
zolv_disk_device_add(ZolvDisk *self, ZolvBaseManager *manager, GUdevDevice *device)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_DISK(self));
    ZOLV_ASSERT(device != NULL);
    ZOLV_ASSERT(G_UDEV_IS_DEVICE(device));

    if (is_a(device, "disk"))
        add_disk(self, device, g_udev_device_get_device_file(device));
    else if (is_a(device, "partition"))
        add_partition(self, manager, g_udev_device_get_device_file(device));
}

/* Only of the disk that is in the slot: another one's table says nothing of it. */
void
zolv_disk_device_change(ZolvDisk *self, ZolvBaseManager *, GUdevDevice *device)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_DISK(self));
    ZOLV_ASSERT(device != NULL);
    ZOLV_ASSERT(G_UDEV_IS_DEVICE(device));

    if (self->priv->type == disk_type_with_table && is_a(device, "disk") &&
        self->priv->device == g_udev_device_get_device_file(device))
        self->priv->defined = g_udev_device_has_property(device, PARTITION_TABLE);
}

void
zolv_disk_device_remove(ZolvDisk *self, ZolvBaseManager *manager, GUdevDevice *device)
{
    ZOLV_ASSERT(self != NULL);
    ZOLV_ASSERT(ZOLV_IS_DISK(self));
    ZOLV_ASSERT(device != NULL);
    ZOLV_ASSERT(G_UDEV_IS_DEVICE(device));

    if (is_a(device, "disk"))
        remove_disk(self, g_udev_device_get_device_file(device));
    else if (is_a(device, "partition"))
        remove_partition(self, manager, g_udev_device_get_device_file(device));
}
