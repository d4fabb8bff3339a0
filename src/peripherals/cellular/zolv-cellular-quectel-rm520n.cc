#include "peripherals/cellular/zolv-cellular-quectel-rm520n.h"

#include "core/zolv-class.h"
#include "peripherals/cellular/zolv-cellular-models.h"
#include "peripherals/cellular/zolv-module-power.h"

namespace {

using namespace std::chrono_literals;
using namespace zolv;

/* clang-format off */
constexpr std::array power_on = {
    drive(PowerLine::wdisable, 0),
    wait(500ms),
    drive(PowerLine::power, 1),
    wait(500ms),
    drive(PowerLine::power_off, 0),
};

constexpr std::array power_off = {
    wait_modem(50s).or_skip_commands(TVL_LOG_ERROR, modem_not_reached),
    command("AT+CFUN=0", 10s).or_go_on(TVL_LOG_ERROR, "Failed to shutdown by AT Command"),
    wait(100ms),
    drive(PowerLine::wdisable, 1),
    wait(100ms),
    drive(PowerLine::power_off, 1),
    wait(1s),
    drive(PowerLine::power, 0),
};
/* clang-format on */

} // namespace

struct _ZolvCellularQuectelRM520NPrivate {
    explicit _ZolvCellularQuectelRM520NPrivate(ZolvCellularQuectelRM520N *self)
        : power(ZOLV_CELLULAR(self), {.on = power_on, .off = power_off})
    {
    }

    zolv::ModulePower power;
};

static gboolean
quectel_rm520n_set_power(ZolvCellular *self, gboolean on, GError **error)
{
    return ZOLV_CELLULAR_QUECTEL_RM520N(self)->priv->power.set(on != FALSE, error);
}

static gboolean
quectel_rm520n_get_power(ZolvCellular *self, gboolean *on, GError **error)
{
    return ZOLV_CELLULAR_QUECTEL_RM520N(self)->priv->power.get(on, error);
}

static gboolean
quectel_rm520n_shutdown(ZolvCellular *self, GError **error)
{
    return quectel_rm520n_set_power(self, FALSE, error);
}

ZOLV_DEFINE_CLASS(ZolvCellularQuectelRM520N, zolv_cellular_quectel_rm520n, ZOLV_TYPE_CELLULAR)
{
    ZolvCellularClass *cellular = ZOLV_CELLULAR_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Cellular");
    zolv::define_cellular_model<zolv::quectel_rm520n>(cellular);
    cellular->set_power = quectel_rm520n_set_power;
    cellular->get_power = quectel_rm520n_get_power;
    cellular->shutdown = quectel_rm520n_shutdown;
}

void
zolv_cellular_quectel_rm520n_define_pin(ZolvCellularQuectelRM520N *self, gint power_pin,
                                        gint off_pin, gint alive_pin, gint wdisable_pin, gint pin4)
{
    (void)pin4;
    self->priv->power.define_pins(power_pin, off_pin, alive_pin, wdisable_pin);
}
