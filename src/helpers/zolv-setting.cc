#include "helpers/zolv-setting.h"

#include "core/zolv-obj-log.h"
#include "core/zolv-raii.h"
#include "helpers/zolv-helpers-config.h"

#include <cstring>

template <>
std::optional<guint>
zolv::Setting<guint>::read() const
{
    guint value = 0;

    if (!zolv_helper_config_get_guint(zolv_obj_get_id(obj_), key_, &value))
        return std::nullopt;
    return value;
}

template <>
void
zolv::Setting<guint>::store(const guint &value) const
{
    zolv_helper_config_set_guint(zolv_obj_get_id(obj_), key_, value);
}

template <>
guint
zolv::Setting<guint>::read_or_store(const guint &fallback, const guint &highest) const
{
    const std::optional<guint> stored = read();

    if (stored && *stored <= highest)
        return *stored;
    if (stored)
        zolv_obj_log(obj_, TVL_LOG_WARN, "Stored %s %u is not valid",
                     CharPtr(g_ascii_strdown(key_, -1)).get(), *stored);
    store(fallback);
    return fallback;
}

template <>
std::optional<bool>
zolv::Setting<bool>::read() const
{
    gboolean value = FALSE;

    if (!zolv_helper_config_get_gboolean(zolv_obj_get_id(obj_), key_, &value))
        return std::nullopt;
    return value != FALSE;
}

template <>
void
zolv::Setting<bool>::store(const bool &value) const
{
    zolv_helper_config_set_gboolean(zolv_obj_get_id(obj_), key_, value);
}

template <>
std::optional<std::string>
zolv::Setting<std::string>::read() const
{
    std::string text(4 * max_characters_ + 1, '\0'); /* a character has up to four bytes */

    if (!zolv_helper_config_get_string(zolv_obj_get_id(obj_), key_, text.data(), max_characters_))
        return std::nullopt;
    text.resize(strlen(text.c_str()));
    return text;
}

template <>
void
zolv::Setting<std::string>::store(const std::string &value) const
{
    zolv_helper_config_set_string(zolv_obj_get_id(obj_), key_, value.c_str());
}
