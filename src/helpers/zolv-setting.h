#pragma once

#include "zolv-obj.h"

#include <optional>
#include <string>

namespace zolv {

/*
 * A setting of an object, which outlives the daemon: its value in the object's group of the
 * settings file, of the type guint, bool or std::string. What is not there, or not of that type,
 * gives no value and a warning in the log. For the main loop only.
 */
template <typename T> class Setting {
  public:
    /* @key is a literal, @obj is not owned. A string is cut after @max_characters. */
    Setting(ZolvObj *obj, const char *key, gsize max_characters = 255)
        : obj_(obj), key_(key), max_characters_(max_characters)
    {
    }

    std::optional<T> read() const;
    /* A value that is there already is not written again: writing wears the flash. */
    void store(const T &value) const;
    /* For the start: the stored value, or @fallback, which then is stored. */
    T read_or_store(const T &fallback) const
    {
        if (std::optional<T> stored = read())
            return *std::move(stored);
        store(fallback);
        return fallback;
    }
    /* The same with the highest number that is taken; of a higher one the log tells. */
    T read_or_store(const T &fallback, const T &highest) const;

  private:
    ZolvObj *obj_;
    const char *key_;
    gsize max_characters_;
};

template <> std::optional<guint> Setting<guint>::read() const;
template <> void Setting<guint>::store(const guint &value) const;
template <> guint Setting<guint>::read_or_store(const guint &fallback, const guint &highest) const;
template <> std::optional<bool> Setting<bool>::read() const;
template <> void Setting<bool>::store(const bool &value) const;
template <> std::optional<std::string> Setting<std::string>::read() const;
template <> void Setting<std::string>::store(const std::string &value) const;

} // namespace zolv
