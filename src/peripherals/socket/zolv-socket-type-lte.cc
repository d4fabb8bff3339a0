#include "peripherals/socket/zolv-socket-type-lte.h"

#include "core/zolv-class.h"
#include "peripherals/socket/zolv-socket-internal.h"
#include "peripherals/socket/zolv-socket-sequences.h"

namespace {

using Line = zolv::PowerLine;

/* clang-format off */
constexpr std::array definition = {
    zolv::drive(Line::sim, 0),
};
/* clang-format on */

} // namespace

struct _ZolvSocketTypeLTEPrivate {
    zolv::PowerLines lines;
    int alive_pin = -1;
    /* Ends before the lines go. */
    zolv::Worker starter;

    zolv::SimSelect sim() const { return {.line = lines[Line::sim]}; }
};

static zolv::PowerHardware
hardware(ZolvSocket *socket)
{
    const ZolvSocketTypeLTEPrivate *priv = ZOLV_SOCKET_TYPE_LTE(socket)->priv;

    return zolv::socket_hardware(socket, priv->lines, priv->alive_pin);
}

static gboolean
socket_type_lte_set_power(ZolvSocket *socket, gboolean on, GError **error)
{
    return zolv::switch_power(on != FALSE, ZOLV_SOCKET_TYPE_LTE(socket)->priv->lines[Line::power],
                              {.on = zolv::watched_on, .off = zolv::watched_off}, hardware(socket),
                              error);
}

static gboolean
socket_type_lte_get_power(ZolvSocket *socket, gboolean *on, GError **error)
{
    return zolv::read_power(ZOLV_SOCKET_TYPE_LTE(socket)->priv->lines[Line::power], 1, on, error);
}

static gboolean
socket_type_lte_set_sim_slot(ZolvSocket *socket, guint slot, GError **error)
{
    const zolv::SimSelect sim = ZOLV_SOCKET_TYPE_LTE(socket)->priv->sim();

    return sim.line.defined() ? sim.set(slot, error) : zolv::refuse_sim_slot(error);
}

static gboolean
socket_type_lte_get_sim_slot(ZolvSocket *socket, guint *slot, GError **error)
{
    const zolv::SimSelect sim = ZOLV_SOCKET_TYPE_LTE(socket)->priv->sim();

    return sim.line.defined() ? sim.get(slot, error) : zolv::refuse_sim_slot(error);
}

static gboolean
socket_type_lte_recover(ZolvSocket *socket, GError **error)
{
    return zolv::run_steps(zolv::watched_recover, hardware(socket), error);
}

static gboolean
socket_type_lte_shutdown(ZolvSocket *socket, GError **error)
{
    return socket_type_lte_set_power(socket, FALSE, error);
}

ZOLV_DEFINE_CLASS(ZolvSocketTypeLTE, zolv_socket_type_lte, ZOLV_TYPE_SOCKET)
{
    ZolvSocketClass *socket_class = ZOLV_SOCKET_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Socket");
    socket_class->set_power = socket_type_lte_set_power;
    socket_class->get_power = socket_type_lte_get_power;
    socket_class->set_sim_slot = socket_type_lte_set_sim_slot;
    socket_class->get_sim_slot = socket_type_lte_get_sim_slot;
    socket_class->recover = socket_type_lte_recover;
    socket_class->shutdown = socket_type_lte_shutdown;
}

void
zolv_socket_type_lte_define_pins(ZolvSocketTypeLTE *self, gint reset_pin, gint power_pin,
                                 gint wdisable_pin, gint alive_pin, gint sim_pin)
{
    zolv::PowerLines &lines = self->priv->lines;

    lines[Line::reset].define(reset_pin);
    lines[Line::power].define(power_pin);
    lines[Line::wdisable].define(wdisable_pin);
    lines[Line::sim].define(sim_pin == 0 ? -1 : sim_pin);
    self->priv->alive_pin = alive_pin;
    zolv::define_by_steps(definition, {ZOLV_OBJ(self), lines});
}

void
zolv_socket_type_lte_start(ZolvSocketTypeLTE *self)
{
    zolv::start_power_on(self->priv->starter, "zolv_socket_type_lte", ZOLV_SOCKET(self));
}

void
zolv_socket_type_lte_export(ZolvSocketTypeLTE *self)
{
    zolv_obj_export(ZOLV_OBJ(self));
}

void
zolv_socket_type_lte_unexport(ZolvSocketTypeLTE *self)
{
    zolv_obj_unexport(ZOLV_OBJ(self));
}
