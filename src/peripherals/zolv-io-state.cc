#include "peripherals/zolv-io-state.h"

#include "core/zolv-assert.h"
#include "core/zolv-obj-log.h"
#include "helpers/zolv-helpers-ubootenv.h"

#include <array>
#include <string_view>

namespace {

using Value = std::array<char, ZOLV_UBOOTENV_VALUE_SIZE>;

constexpr std::string_view value_on = "1";
constexpr std::string_view value_off = "0";

} // namespace

zolv::IoState::~IoState()
{
    if (bootenv_)
        write_back();
}

void
zolv::IoState::bind(const char *bootenv)
{
    if (rules_.name_required)
        ZOLV_ASSERT(bootenv);
    if (bootenv != nullptr)
        bootenv_ = bootenv;
    else
        bootenv_.reset();
}

guint
zolv::IoState::read_boot_state() const
{
    const char *bootenv = bootenv_ ? bootenv_->c_str() : nullptr;
    g_autoptr(GError) error = nullptr;
    Value value{};

    ZOLV_ASSERT(bootenv);
    if (!zolv_helper_get_ubootenv_variable(bootenv, value.data(), &error)) {
        zolv_obj_log(owner_, TVL_LOG_WARN, "%s", error->message);
        return not_applicable;
    }
    if (value.front() == '\0') {
        zolv_obj_log(owner_, TVL_LOG_WARN, "The %s is not defined", bootenv);
        return not_applicable;
    }
    if (value_on == value.data())
        return enabled;
    if (value_off == value.data()) {
        ZOLV_OBJ_DEBUG(owner_, "The interface is not enabled");
        return disabled;
    }
    return not_applicable;
}

void
zolv::IoState::publish(guint state)
{
    const bool applicable = state == enabled || state == disabled;

    at_start_ = state;
    if (applicable)
        wish_.store(state == enabled);
    g_object_set(skeleton_, "iostate", applicable ? state : guint{not_applicable}, nullptr);
}

guint
zolv::IoState::published() const
{
    guint state = not_applicable;

    g_object_get(skeleton_, "iostate", &state, nullptr);
    return state;
}

bool
zolv::IoState::set(BusCall &call, guint wanted) const
{
    if (published() == not_applicable)
        return call.refuse(rules_.refused_level, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL,
                           "Cannot set io state for not applicable device");
    wish_.store(wanted == enabled);
    if (bootenv_)
        write_back();
    return true;
}

/* A write wears the flash and takes its time, so the present value is looked at first. */
void
zolv::IoState::write_back() const
{
    const char *bootenv = bootenv_->c_str();
    Value value{};

    ZOLV_OBJ_DEBUG(owner_, "Write bootenv: %s", bootenv);
    const std::optional<bool> enable = wish_.read();
    if (!enable)
        return;
    if (!zolv_helper_get_ubootenv_variable(bootenv, value.data(), nullptr)) {
        zolv_obj_log(owner_, TVL_LOG_ERROR, "Failed to get uboot env");
        return;
    }
    const std::string_view wanted = *enable ? value_on : value_off;
    if (wanted != value.data() &&
        !zolv_helper_set_ubootenv_variable(bootenv, wanted.data(), nullptr))
        zolv_obj_log(owner_, TVL_LOG_ERROR, "Failed to set uboot env");
}
