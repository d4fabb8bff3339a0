#include "helpers/zolv-helpers-sysfs-i2c.h"

#include "core/zolv-text.h"
#include "helpers/zolv-helpers-common.h"
#include "helpers/zolv-helpers-sysfs.h"
#include "tvl-log.h"

#include <cstring>

using zolv::fit_text;

namespace {

constexpr const char *devices_directory = "/sys/bus/i2c/devices/";
constexpr gsize adapter_name_size = 32 + 1;
constexpr gsize new_device_size = 24;

bool
adapter_matches(const char *adapter, const gchar *adapter_name)
{
    const zolv::SysfsPath path("%s%s/name", devices_directory, adapter);
    char name[adapter_name_size];
    g_autoptr(GError) error = nullptr;

    if (!zolv::sysfs_read_text(path, name, sizeof name, &error)) {
        _tvl_log(TVL_LOG_WARN, "Failed to read i2c device name %s",
                 fit_text(error->message).c_str());
        return false;
    }
    return strstr(name, adapter_name) != nullptr;
}

/* The name that is returned belongs to @directory. */
const char *
find_adapter(GDir *directory, const gchar *adapter_name)
{
    while (const char *entry = g_dir_read_name(directory)) {
        if (g_str_has_prefix(entry, "i2c-") && adapter_matches(entry, adapter_name))
            return entry;
    }
    return nullptr;
}

bool
make_device(const char *adapter, const gchar *device_type, gint address)
{
    const zolv::SysfsPath path("%s%s/new_device", devices_directory, adapter);
    char field[new_device_size] = {}; /* written whole */
    g_autoptr(GError) error = nullptr;

    g_snprintf(field, sizeof field, "%s %d", device_type, address);
    if (!zolv_helper_write_file(path, field, sizeof field, &error)) {
        _tvl_log(TVL_LOG_ERROR, "Failed to bind i2c device: %s", fit_text(error->message).c_str());
        return false;
    }
    return true;
}

} // namespace

gboolean
zolv_helper_bind_sysfs_i2c_device(const gchar *adapter_name, const gchar *device_type, gint address)
{
    g_autoptr(GDir) directory = g_dir_open(devices_directory, 0, nullptr);
    const char *adapter = nullptr;

    if (directory != nullptr)
        adapter = find_adapter(directory, adapter_name);
    else
        _tvl_log(TVL_LOG_ERROR, "Failed to open i2c device directory");

    if (adapter == nullptr) {
        _tvl_log(TVL_LOG_ERROR, "Failed to find i2c device: %s", fit_text(adapter_name).c_str());
        return FALSE;
    }
    return make_device(adapter, device_type, address);
}
