#include "peripherals/socket/zolv-socket-type5.h"

#include "core/zolv-class.h"
#include "peripherals/socket/zolv-socket-internal.h"
#include "peripherals/socket/zolv-socket-sequences.h"

namespace {

using Line = zolv::PowerLine;

/* clang-format off */
constexpr std::array power_on = {
    zolv::drive(Line::wdisable, 0),
    zolv::drive(Line::extra2, 0),
    zolv::drive(Line::power, 1),
};

constexpr std::array recover_from_on = std::array{
    zolv::expect(Line::power_status, 1, "SOCKET power should be high because we detected it in protection mode")
        .or_complain("Failed to get Power Pin"),
} + zolv::fast_recover;
/* clang-format on */

} // namespace

struct _ZolvSocketType5Private {
    zolv::PowerLines lines;
    bool locked = false;
};

static zolv::PowerHardware
hardware(ZolvSocket *socket)
{
    return zolv::socket_hardware(socket, ZOLV_SOCKET_TYPE5(socket)->priv->lines);
}

static const zolv::GpioLine &
power_status(ZolvSocket *socket)
{
    return ZOLV_SOCKET_TYPE5(socket)->priv->lines[Line::power_status];
}

static gboolean
socket_type5_set_power(ZolvSocket *socket, gboolean on, GError **error)
{
    if (ZOLV_SOCKET_TYPE5(socket)->priv->locked)
        return zolv::refuse_power(error);
    return zolv::switch_power(on != FALSE, power_status(socket),
                              {.on = power_on, .off = zolv::fast_off_after_30_s}, hardware(socket),
                              error);
}

static gboolean
socket_type5_get_power(ZolvSocket *socket, gboolean *on, GError **error)
{
    return zolv::read_power(power_status(socket), 1, on, error);
}

static gboolean
socket_type5_recover(ZolvSocket *socket, GError **error)
{
    return zolv::run_steps(recover_from_on, hardware(socket), error);
}

static gboolean
socket_type5_shutdown(ZolvSocket *socket, GError **error)
{
    return zolv::fast_shutdown(power_status(socket), hardware(socket), error);
}

ZOLV_DEFINE_CLASS(ZolvSocketType5, zolv_socket_type5, ZOLV_TYPE_SOCKET)
{
    ZolvSocketClass *socket_class = ZOLV_SOCKET_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Socket");
    socket_class->set_power = socket_type5_set_power;
    socket_class->get_power = socket_type5_get_power;
    socket_class->set_sim_slot = zolv::refuse_set_sim_slot;
    socket_class->get_sim_slot = zolv::refuse_get_sim_slot;
    socket_class->recover = socket_type5_recover;
    socket_class->shutdown = socket_type5_shutdown;
}

void
zolv_socket_type5_deactivate_pwr_off(ZolvSocketType5 *self)
{
    self->priv->locked = true;
}

void
zolv_socket_type5_define_pins(ZolvSocketType5 *self, gint power_pin, gint power_status_pin,
                              gint pin2, gint wdisable_pin)
{
    zolv::PowerLines &lines = self->priv->lines;

    lines[Line::power].define(power_pin);
    lines[Line::power_status].define(power_status_pin);
    lines[Line::extra2].define(pin2);
    lines[Line::wdisable].define(wdisable_pin);
    zolv::define_by_steps(power_on, {ZOLV_OBJ(self), lines});
    zolv_obj_export(ZOLV_OBJ(self));
}
