#pragma once

#include "zolv-base-manager.h"

#include <gmodule.h>
#include <gudev/gudev.h>
#include <memory>

namespace zolv {

/* The shared library that knows the hardware layout of one computer model. */
class ModelPlugin {
  public:
    using Platform = void (*)(ZolvBaseManager *manager);
    using UeventHandler = void (*)(ZolvBaseManager *manager, const gchar *action,
                                   GUdevDevice *device);

    ModelPlugin() = default;
    ModelPlugin(const ModelPlugin &) = delete;
    ModelPlugin &operator=(const ModelPlugin &) = delete;
    ~ModelPlugin() { close(); }

    /* Loads @file_name from the plugin directory, its symbols bound when they are first used. */
    bool open(const char *file_name, GError **error);
    /* Finds the entry points. */
    bool resolve(GError **error);
    void close();

    Platform platform_init = nullptr;
    Platform platform_shutdown = nullptr;
    UeventHandler uevent_handler = nullptr;

  private:
    GModule *module_ = nullptr;
};

} // namespace zolv
