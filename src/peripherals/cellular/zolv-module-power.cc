#include "peripherals/cellular/zolv-module-power.h"

void
zolv::ModulePower::define_pins(int power, int off, int alive, int wdisable)
{
    lines_[PowerLine::power].define(power, GPIO_DIRECTION_OUT);
    lines_[PowerLine::power_off].define(off, GPIO_DIRECTION_OUT);
    lines_[PowerLine::wdisable].define(wdisable, GPIO_DIRECTION_OUT);
    alive_ = alive;
}

zolv::PowerHardware
zolv::ModulePower::hardware() const
{
    ZolvCellular *module = module_;
    ZolvCellularClass *klass = ZOLV_CELLULAR_GET_CLASS(module);

    return {
        .owner = ZOLV_OBJ(module),
        .lines = lines_,
        .alive_wired = alive_ >= 0,
        .wait_alive =
            [module, klass, pin = alive_](guint level, guint timeout_s, GError **error) {
                return klass->wait_alive_pin(module, pin, level, timeout_s, error) != FALSE;
            },
        .has_modem = [module, klass] { return klass->support_at_shutdown(module) != FALSE; },
        .modem_ready =
            [module, klass](guint timeout_s) {
                return klass->wait_modem_ready(module, timeout_s) != FALSE;
            },
        .exec_at_cmd =
            [module, klass](const char *command, guint timeout_s, GError **error) {
                return klass->exec_at_cmd(module, command, timeout_s, error) != FALSE;
            },
    };
}

bool
zolv::ModulePower::set(bool on, GError **error) const
{
    gboolean is_on = FALSE;

    if (!get(&is_on, error))
        return false;
    if ((is_on != FALSE) == on)
        return true;
    return run_steps(on ? sequences_.on : sequences_.off, hardware(), error);
}

bool
zolv::ModulePower::get(gboolean *on, GError **error) const
{
    guint level = 0;

    if (!lines_[PowerLine::power].read(&level, error))
        return false;
    *on = level == 1;
    return true;
}
