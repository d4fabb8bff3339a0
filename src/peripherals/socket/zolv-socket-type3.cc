#include "peripherals/socket/zolv-socket-type3.h"

#include "core/zolv-class.h"
#include "peripherals/socket/zolv-socket-internal.h"

namespace {

using namespace std::chrono_literals;
using Line = zolv::PowerLine;

/* clang-format off */
constexpr std::array power_on = {
    zolv::drive(Line::reset, 1),
    zolv::drive(Line::power_off, 0),
    zolv::drive(Line::reset, 0),
    zolv::wait(1s),
    zolv::drive(Line::reset, 1),
};

constexpr std::array power_off = {
    zolv::drive(Line::power_off, 1),
};

constexpr std::array definition = std::array{
    zolv::drive(Line::sim, 0),
    zolv::drive(Line::extra0, 0),
    zolv::drive(Line::extra1, 0),
    zolv::drive(Line::extra2, 0),
} + power_on;
/* clang-format on */

} // namespace

struct _ZolvSocketType3Private {
    zolv::PowerLines lines;

    zolv::SimSelect sim() const { return {.line = lines[Line::sim]}; }
};

static gboolean
socket_type3_set_power(ZolvSocket *socket, gboolean on, GError **error)
{
    const zolv::PowerHardware hardware{ZOLV_OBJ(socket), ZOLV_SOCKET_TYPE3(socket)->priv->lines};

    return on ? zolv::run_steps(power_on, hardware, error)
              : zolv::run_steps(power_off, hardware, error);
}

static gboolean
socket_type3_get_power(ZolvSocket *socket, gboolean *on, GError **error)
{
    return zolv::read_power(ZOLV_SOCKET_TYPE3(socket)->priv->lines[Line::power_off], 0, on, error);
}

static gboolean
socket_type3_set_sim_slot(ZolvSocket *socket, guint slot, GError **error)
{
    return ZOLV_SOCKET_TYPE3(socket)->priv->sim().set(slot, error);
}

static gboolean
socket_type3_get_sim_slot(ZolvSocket *socket, guint *slot, GError **error)
{
    return ZOLV_SOCKET_TYPE3(socket)->priv->sim().get(slot, error);
}

ZOLV_DEFINE_CLASS(ZolvSocketType3, zolv_socket_type3, ZOLV_TYPE_SOCKET)
{
    ZolvSocketClass *socket_class = ZOLV_SOCKET_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Socket");
    socket_class->set_power = socket_type3_set_power;
    socket_class->get_power = socket_type3_get_power;
    socket_class->set_sim_slot = socket_type3_set_sim_slot;
    socket_class->get_sim_slot = socket_type3_get_sim_slot;
}

void
zolv_socket_type3_define_pins(ZolvSocketType3 *self, gint pin0, gint pin1, gint pin2,
                              gint reset_pin, gint power_off_pin, gint sim_pin)
{
    zolv::PowerLines &lines = self->priv->lines;

    lines[Line::extra0].define(pin0);
    lines[Line::extra1].define(pin1);
    lines[Line::extra2].define(pin2);
    lines[Line::reset].define(reset_pin);
    lines[Line::power_off].define(power_off_pin);
    lines[Line::sim].define(sim_pin);
    zolv::define_by_steps(definition, {ZOLV_OBJ(self), lines});
    zolv_obj_export(ZOLV_OBJ(self));
}
