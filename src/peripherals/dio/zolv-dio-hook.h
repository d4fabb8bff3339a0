#pragma once

#include "helpers/zolv-setting.h"
#include "peripherals/dio/zolv-dio.h"
#include "peripherals/zolv-script-store.h"

#include <atomic>
#include <dirent.h>
#include <memory>
#include <mutex>
#include <string>

namespace zolv {

class ScriptSource;

/* The hook that an input selects, and the changes that run it. The main loop chooses; the watcher
 * takes a copy of the choice, so that it never holds what the main loop lets go. */
class DioHook {
  public:
    using Path = std::shared_ptr<const std::string>;

    DioHook(ZolvObj *obj, ZolvGdbusObjDIO *skeleton)
        : obj_(obj), skeleton_(skeleton),
          stored_name_(obj, "HookName", ScriptStore::max_name_length)
    {
    }
    DioHook(const DioHook &) = delete;
    DioHook &operator=(const DioHook &) = delete;
    ~DioHook() { deselect(); }

    /* Makes the registry that all inputs share. */
    static void prepare();
    static bool list(GVariant **hooks, GError **error);
    static bool add(const char *name, const char *path, GError **error);
    static bool remove(const char *name, GError **error);

    /* Takes the selection from the settings. */
    void load();
    bool select(const char *name, GError **error);
    /* Deselects a hook that is gone. */
    void check();
    /* Makes a hook of an executable script "D.script" that no hook leads to; D is the object's
     * name. */
    void convert_orphan();
    /* From any thread: the link to run; null if none is selected. */
    Path path() const;

    std::atomic<guint> event = DIO_NONE_EDGE;

  private:
    bool select_none(GError **error);
    void select_registered(const char *name);
    void deselect();
    void set_path(Path path);
    bool is_orphan(const ScriptSource &source, DIR *directory) const;
    bool is_linked(DIR *directory, const char *script) const;
    void install_orphan(const ScriptSource &source);
    void make_hook(const char *script, const char *copy);

    ZolvObj *obj_;
    ZolvGdbusObjDIO *skeleton_;
    Setting<std::string> stored_name_;
    std::string name_; /* empty: none */
    mutable std::mutex mutex_;
    Path path_;
};

} // namespace zolv
