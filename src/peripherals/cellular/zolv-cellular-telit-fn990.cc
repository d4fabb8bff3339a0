#include "peripherals/cellular/zolv-cellular-telit-fn990.h"

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
    drive(PowerLine::power_off, 0),
    wait_alive(1, 10s).or_go_on(TVL_LOG_DEBUG, "Failed to monitor power"),
};

/* The modem's end is brought about by the line; that it is waited for lets a start end first. */
constexpr std::array power_off = {
    wait_modem(50s).or_go_on(TVL_LOG_ERROR, modem_not_reached),
    drive(PowerLine::power_off, 1),
    wait_alive(0, 10s).or_go_on(TVL_LOG_DEBUG, "Failed to monitor power"),
    drive(PowerLine::power, 0),
};
/* clang-format on */

} // namespace

struct _ZolvCellularTelitFN990Private {
    explicit _ZolvCellularTelitFN990Private(ZolvCellularTelitFN990 *self)
        : power(ZOLV_CELLULAR(self), {.on = power_on, .off = power_off})
    {
    }

    zolv::ModulePower power;
};

static gboolean
telit_fn990_set_power(ZolvCellular *self, gboolean on, GError **error)
{
    return ZOLV_CELLULAR_TELIT_FN990(self)->priv->power.set(on != FALSE, error);
}

static gboolean
telit_fn990_get_power(ZolvCellular *self, gboolean *on, GError **error)
{
    return ZOLV_CELLULAR_TELIT_FN990(self)->priv->power.get(on, error);
}

static gboolean
telit_fn990_shutdown(ZolvCellular *self, GError **error)
{
    return telit_fn990_set_power(self, FALSE, error);
}

ZOLV_DEFINE_CLASS(ZolvCellularTelitFN990, zolv_cellular_telit_fn990, ZOLV_TYPE_CELLULAR)
{
    ZolvCellularClass *cellular = ZOLV_CELLULAR_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Cellular");
    zolv::define_cellular_model<zolv::telit_fn990>(cellular);
    cellular->set_power = telit_fn990_set_power;
    cellular->get_power = telit_fn990_get_power;
    cellular->shutdown = telit_fn990_shutdown;
}

void
zolv_cellular_telit_fn990_define_pin(ZolvCellularTelitFN990 *self, gint power_pin, gint off_pin,
                                     gint alive_pin, gint wdisable_pin, gint pin4)
{
    (void)pin4;
    self->priv->power.define_pins(power_pin, off_pin, alive_pin, wdisable_pin);
}
