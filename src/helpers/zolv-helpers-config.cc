#include "helpers/zolv-helpers-config.h"

#include "core/zolv-text.h"
#include "helpers/zolv-helpers-store.h"
#include "tvl-log.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>

using zolv::fit_text;
using zolv::settings_directory;
using zolv::settings_file;

namespace {

constexpr char damaged_file[] = "/etc/tarvel/TarvelPerimond/peripheral-settings.conf.damaged";

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
gboolean
get_setting(Read read)
{
    g_autoptr(GError) error = nullptr;
    const KeyFilePtr file = load_settings(&error);

    if (file == nullptr) {
        _tvl_log(TVL_LOG_WARN, "[Config] Failed to load config file: %s",
                 fit_text(error->message).c_str());
        return FALSE;
    }
    read(file.get(), &error);
    if (error != nullptr) {
        _tvl_log(TVL_LOG_WARN, "[Config] Failed to read property from config file: %s",
                 fit_text(error->message).c_str());
        return FALSE;
    }
    return TRUE;
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
load_or_start_anew()
{
    g_autoptr(GError) error = nullptr;
    KeyFilePtr file = load_settings(&error);

    if (file != nullptr)
        return file;
    _tvl_log(TVL_LOG_WARN, "[Config] Failed to load config file: %s",
             fit_text(error->message).c_str());
    if (!g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT))
        keep_damaged_file();
    return KeyFilePtr(g_key_file_new());
}

void
create_settings_file()
{
    if (g_mkdir_with_parents(settings_directory, 0755) == 0)
        const zolv::UniqueFd created(
            open(settings_file, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
}

template <typename Change>
void
set_setting(Change change)
{
    const KeyFilePtr file = load_or_start_anew();
    g_autoptr(GError) error = nullptr;

    change(file.get());
    if (!g_file_test(settings_directory, G_FILE_TEST_IS_DIR))
        create_settings_file();
    const bool is_new = !zolv::has_content(settings_file);
    if (!g_key_file_save_to_file(file.get(), settings_file, &error) ||
        (is_new && !zolv::sync_new_file(settings_file, &error)))
        _tvl_log(TVL_LOG_WARN, "[Config] Failed to write config file: %s",
                 fit_text(error->message).c_str());
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
    set_setting([=](GKeyFile *file) {
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
    set_setting([=](GKeyFile *file) { g_key_file_set_boolean(file, group, key, value); });
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
    set_setting([=](GKeyFile *file) { g_key_file_set_string(file, group, key, value); });
}
