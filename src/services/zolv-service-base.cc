#include "services/zolv-service-base.h"

#include "core/zolv-text.h"
#include "peripherals/led/zolv-led.h"

enum { PROP_BASE_MANAGER = 1, PROP_INTERFACE };

namespace {

constexpr GParamFlags construct_only =
    G_PARAM_WRITABLE | G_PARAM_CONSTRUCT_ONLY | G_PARAM_STATIC_STRINGS;

} // namespace

void
zolv::ServiceBase::install_properties(GObjectClass *klass, const char *manager_property,
                                      const char *interface_property)
{
    g_object_class_install_property(klass, PROP_BASE_MANAGER,
                                    g_param_spec_object(manager_property, "Base Manager",
                                                        "Base Manager", ZOLV_TYPE_BASE_MANAGER,
                                                        construct_only));
    if (interface_property != nullptr)
        g_object_class_install_property(klass, PROP_INTERFACE,
                                        g_param_spec_string(interface_property, "Interface",
                                                            "The network interface of the handle",
                                                            nullptr, construct_only));
}

void
zolv::ServiceBase::set_property(GObject *object, guint id, const GValue *value, GParamSpec *pspec)
{
    switch (id) {
    case PROP_BASE_MANAGER:
        manager_.reset(static_cast<ZolvBaseManager *>(g_value_dup_object(value)));
        break;
    case PROP_INTERFACE:
        interface_ = fit_text(g_value_get_string(value));
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        break;
    }
}

void
zolv::ServiceBase::show(const std::string &led_name, guint state) const
{
    ZolvObj *led = zolv_base_manager_get_object(manager_.get(), led_name.c_str());

    zolv_led_set_state(ZOLV_LED(led), state, nullptr);
}
