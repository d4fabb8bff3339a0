#include "helpers/zolv-helpers-config.h"

#include "core/zolv-text.h"
#include "helpers/zolv-helpers-store.h"
#include "tvl-log.h"

#include <cerrno>
#include <cstdio>
#include <unistd.h>

using zolv::fit_text;
using zolv::settings_directory;
using zolv::settings_file;

namespace {

constexpr char damaged_file[] = "/etc/tarvel/TarvelPerimond/peripheral-settings.conf.damaged";

constexpr mode_t settings_mode = 0644;

/* The settings of the largest computer are a few kilobytes. */
constexpr gsize max_settings_length = gsize{1} << 20U;

using KeyFilePtr = std::unique_ptr<GKeyFile, zolv::Free<g_key_file_unref>>;

KeyFilePtr
load_settings(GError **error)
{
    gsize length = 0;
    const zolv::CharPtr text =
        zolv::read_regular_file(settings_file, 0, max_settings_length, &length, error);

    if (text == nullptr)
        return nullptr;

    KeyFilePtr file(g_key_file_new());
    const auto flags =
        static_cast<GKeyFileFlags>(G_KEY_FILE_KEEP_COMMENTS | G_KEY_FILE_KEEP_TRANSLATIONS);
    if (!g_key_file_load_from_data(file.get(), text.get(), length, flags, error))
        return nullptr;
    return file;
}

template <typename Read>
bool
get_setting(Read read)
{
    g_autoptr(GError) error = nullptr;
    const KeyFilePtr file = load_settings(&error);

    if (file == nullptr) {
        _tvl_log(TVL_LOG_WARN, "[Config] Failed to load config file: %s",
                 fit_text(error->message).c_str());
        return false;
    }
    read(file.get(), &error);
    if (error != nullptr) {
        _tvl_log(TVL_LOG_WARN, "[Config] Failed to read property from config file: %s",
                 fit_text(error->message).c_str());
        return false;
    }
    return true;
}

/* The file also stays under its own name until the save replaces it, in case that fails. */
void
keep_damaged_file()
{
    unlink(damaged_file);
    if (link(settings_file, damaged_file) == 0 || rename(settings_file, damaged_file) == 0)
        _tvl_log(TVL_LOG_WARN, "[Config] Kept damaged config file as '%s'", damaged_file);
    else
        _tvl_log(TVL_LOG_WARN, "[Config] Failed to keep damaged config file: %s",
                 g_strerror(errno));
}

KeyFilePtr
start_anew(const GError *error)
{
    _tvl_log(TVL_LOG_WARN, "[Config] Failed to load config file: %s",
             fit_text(error->message).c_str());
    if (!g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT))
        keep_damaged_file();
    return KeyFilePtr(g_key_file_new());
}

/* As the file has it; null where it is not there. */
zolv::CharPtr
raw_value(GKeyFile *file, const char *group, const char *key)
{
    return zolv::CharPtr(g_key_file_get_value(file, group, key, nullptr));
}

void
save_settings(GKeyFile *file)
{
    g_autoptr(GError) error = nullptr;
    gsize length = 0;
    const zolv::CharPtr data(g_key_file_to_data(file, &length, nullptr));
    const std::string_view text(data.get(), length);

    /* Where it cannot be made, the save says so. */
    g_mkdir_with_parents(settings_directory, 0755);
    if (!zolv::replace_file(settings_directory, settings_file, settings_mode, text, &error))
        _tvl_log(TVL_LOG_WARN, "[Config] Failed to write config file: %s", error->message);
}

/* A setting that is there already wears out no flash. */
template <typename Change>
void
set_setting(const char *group, const char *key, Change change)
{
    g_autoptr(GError) error = nullptr;
    KeyFilePtr file = load_settings(&error);
    const bool loaded = file != nullptr;

    if (!loaded)
        file = start_anew(error);
    const zolv::CharPtr before = raw_value(file.get(), group, key);
    change(file.get());
    const zolv::CharPtr after = raw_value(file.get(), group, key);
    if (!loaded || g_strcmp0(before.get(), after.get()) != 0)
        save_settings(file.get());
}

} // namespace

gboolean
zolv_helper_config_get_guint(const gchar *group, const gchar *key, guint *value)
{
    return get_setting([=](GKeyFile *file, GError **error) {
        *value = static_cast<guint>(g_key_file_get_integer(file, group, key, error));
    });
}

void
zolv_helper_config_set_guint(const gchar *group, const gchar *key, guint value)
{
    set_setting(group, key, [=](GKeyFile *file) {
        g_key_file_set_integer(file, group, key, static_cast<gint>(value));
    });
}

gboolean
zolv_helper_config_get_gboolean(const gchar *group, const gchar *key, gboolean *value)
{
    return get_setting([=](GKeyFile *file, GError **error) {
        *value = g_key_file_get_boolean(file, group, key, error);
    });
}

void
zolv_helper_config_set_gboolean(const gchar *group, const gchar *key, gboolean value)
{
    set_setting(group, key,
                [=](GKeyFile *file) { g_key_file_set_boolean(file, group, key, value); });
}

gboolean
zolv_helper_config_get_string(const gchar *group, const gchar *key, gchar *dest,
                              gsize max_characters)
{
    return get_setting([=](GKeyFile *file, GError **error) {
        g_autofree char *value = g_key_file_get_string(file, group, key, error);

        if (value != nullptr && dest != nullptr)
            g_utf8_strncpy(dest, value, max_characters);
    });
}

void
zolv_helper_config_set_string(const gchar *group, const gchar *key, const gchar *value)
{
    set_setting(group, key,
                [=](GKeyFile *file) { g_key_file_set_string(file, group, key, value); });
}
