#include "peripherals/socket/zolv-socket-type4.h"

#include "core/zolv-class.h"
#include "peripherals/socket/zolv-socket-internal.h"
#include "peripherals/socket/zolv-socket-sequences.h"

namespace {

using namespace std::chrono_literals;
using Line = zolv::PowerLine;

/* clang-format off */
constexpr std::array power_on = {
    zolv::drive(Line::wdisable, 0),
    zolv::drive(Line::enable, 1),
    zolv::wait(1s),
    zolv::drive(Line::power, 1),
};

constexpr std::array definition = std::array{
    zolv::drive(Line::sim, 0),
} + power_on;
/* clang-format on */

} // namespace

struct _ZolvSocketType4Private {
    zolv::PowerLines lines;

    zolv::SimSelect sim() const { return {.line = lines[Line::sim]}; }
};

static zolv::PowerHardware
hardware(ZolvSocket *socket)
{
    return zolv::socket_hardware(socket, ZOLV_SOCKET_TYPE4(socket)->priv->lines);
}

static gboolean
socket_type4_set_power(ZolvSocket *socket, gboolean on, GError **error)
{
    return zolv::switch_power(on != FALSE, ZOLV_SOCKET_TYPE4(socket)->priv->lines[Line::power],
                              {.on = power_on, .off = zolv::fast_off_after_50_s}, hardware(socket),
                              error);
}

static gboolean
socket_type4_get_power(ZolvSocket *socket, gboolean *on, GError **error)
{
    return zolv::read_power(ZOLV_SOCKET_TYPE4(socket)->priv->lines[Line::power], 1, on, error);
}

static gboolean
socket_type4_set_sim_slot(ZolvSocket *socket, guint slot, GError **error)
{
    return ZOLV_SOCKET_TYPE4(socket)->priv->sim().set(slot, error);
}

static gboolean
socket_type4_get_sim_slot(ZolvSocket *socket, guint *slot, GError **error)
{
    return ZOLV_SOCKET_TYPE4(socket)->priv->sim().get(slot, error);
}

static gboolean
socket_type4_recover(ZolvSocket *socket, GError **error)
{
    return zolv::run_steps(zolv::fast_recover, hardware(socket), error);
}

static gboolean
socket_type4_shutdown(ZolvSocket *socket, GError **error)
{
    return zolv::fast_shutdown(ZOLV_SOCKET_TYPE4(socket)->priv->lines[Line::power],
                               hardware(socket), error);
}

ZOLV_DEFINE_CLASS(ZolvSocketType4, zolv_socket_type4, ZOLV_TYPE_SOCKET)
{
    ZolvSocketClass *socket_class = ZOLV_SOCKET_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Socket");
    socket_class->set_power = socket_type4_set_power;
    socket_class->get_power = socket_type4_get_power;
    socket_class->set_sim_slot = socket_type4_set_sim_slot;
    socket_class->get_sim_slot = socket_type4_get_sim_slot;
    socket_class->recover = socket_type4_recover;
    socket_class->shutdown = socket_type4_shutdown;
}

void
zolv_socket_type4_define_pins(ZolvSocketType4 *self, gint enable_pin, gint power_pin,
                              gint wdisable_pin, gint sim_pin)
{
    zolv::PowerLines &lines = self->priv->lines;

    lines[Line::enable].define(enable_pin);
    lines[Line::power].define(power_pin);
    lines[Line::wdisable].define(wdisable_pin);
    lines[Line::sim].define(sim_pin);
    zolv::define_by_steps(definition, {ZOLV_OBJ(self), lines});
    zolv_obj_export(ZOLV_OBJ(self));
}
