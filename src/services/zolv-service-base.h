#pragma once

#include "core/zolv-raii.h"
#include "zolv-base-manager.h"

#include <string>

namespace zolv {

/* What the LED services have in common: their properties, and the way to an LED. */
class ServiceBase {
  public:
    /* For the class's initialisation; the names are literals. A service that belongs to no network
     * interface has no @interface_property. */
    static void install_properties(GObjectClass *klass, const char *manager_property,
                                   const char *interface_property = nullptr);
    /* For the class's slot of that name. */
    void set_property(GObject *object, guint id, const GValue *value, GParamSpec *pspec);

    const char *interface() const { return interface_.c_str(); }
    /* A status display has nobody to tell that an LED did not change: errors are ignored. */
    void show(const std::string &led_name, guint state) const;

  private:
    std::string interface_;
    ObjectPtr<ZolvBaseManager> manager_;
};

} // namespace zolv
