#include "peripherals/socket/zolv-socket-type6.h"

#include "core/zolv-class.h"
#include "peripherals/socket/zolv-socket-internal.h"
#include "peripherals/socket/zolv-socket-sequences.h"

namespace {

using Line = zolv::PowerLine;

} // namespace

struct _ZolvSocketType6Private {
    zolv::PowerLines lines;
    zolv::GpioLine function_select;
    guint sim_mode = zolv::SimSelect::none;
    int alive_pin = -1;
    /* Ends before the lines go. */
    zolv::Worker starter;

    zolv::SimSelect sim() const { return {.line = lines[Line::sim], .mode = sim_mode}; }
};

static zolv::PowerHardware
hardware(ZolvSocket *socket)
{
    const ZolvSocketType6Private *priv = ZOLV_SOCKET_TYPE6(socket)->priv;

    return zolv::socket_hardware(socket, priv->lines, priv->alive_pin);
}

/* Whether the socket serves another function. */
static bool
read_function_select(ZolvSocket *socket, bool *selected, GError **error)
{
    const zolv::GpioLine &line = ZOLV_SOCKET_TYPE6(socket)->priv->function_select;
    guint level = 1;

    if (line.defined() && !line.read(&level, error))
        return false;
    *selected = level == 0;
    return true;
}

static bool
check_switchable(ZolvSocket *socket, GError **error)
{
    bool selected = false;

    if (!read_function_select(socket, &selected, error))
        return false;
    if (selected)
        return zolv::fail(error, ZOLV_CORE_ERROR_NOT_PERMIT,
                          "Socket power can't be controlled due to function select");
    return !zolv::has_wifi(socket) || zolv::refuse_power(error);
}

static gboolean
socket_type6_set_power(ZolvSocket *socket, gboolean on, GError **error)
{
    if (!check_switchable(socket, error))
        return FALSE;
    return zolv::switch_power(on != FALSE, ZOLV_SOCKET_TYPE6(socket)->priv->lines[Line::power],
                              {.on = zolv::watched_on, .off = zolv::watched_off}, hardware(socket),
                              error);
}

static gboolean
socket_type6_get_power(ZolvSocket *socket, gboolean *on, GError **error)
{
    bool selected = false;

    if (!read_function_select(socket, &selected, error))
        return FALSE;
    if (!selected)
        return zolv::read_power(ZOLV_SOCKET_TYPE6(socket)->priv->lines[Line::power], 1, on, error);
    *on = TRUE;
    return TRUE;
}

static gboolean
socket_type6_set_sim_slot(ZolvSocket *socket, guint slot, GError **error)
{
    const zolv::SimSelect sim = ZOLV_SOCKET_TYPE6(socket)->priv->sim();

    return sim.line.defined() ? sim.set(slot, error) : zolv::refuse_sim_slot(error);
}

static gboolean
socket_type6_get_sim_slot(ZolvSocket *socket, guint *slot, GError **error)
{
    const zolv::SimSelect sim = ZOLV_SOCKET_TYPE6(socket)->priv->sim();

    return sim.line.defined() ? sim.get(slot, error) : zolv::refuse_sim_slot(error);
}

static gboolean
socket_type6_recover(ZolvSocket *socket, GError **error)
{
    return zolv::run_steps(zolv::watched_recover, hardware(socket), error);
}

static gboolean
socket_type6_shutdown(ZolvSocket *socket, GError **error)
{
    return socket_type6_set_power(socket, FALSE, error);
}

ZOLV_DEFINE_CLASS(ZolvSocketType6, zolv_socket_type6, ZOLV_TYPE_SOCKET)
{
    ZolvSocketClass *socket_class = ZOLV_SOCKET_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Socket");
    socket_class->set_power = socket_type6_set_power;
    socket_class->get_power = socket_type6_get_power;
    socket_class->set_sim_slot = socket_type6_set_sim_slot;
    socket_class->get_sim_slot = socket_type6_get_sim_slot;
    socket_class->recover = socket_type6_recover;
    socket_class->shutdown = socket_type6_shutdown;
}

void
zolv_socket_type6_define_modes(ZolvSocketType6 *self, guint sim_mode)
{
    self->priv->sim_mode = sim_mode;
}

void
zolv_socket_type6_define_pins(ZolvSocketType6 *self, gint reset_pin, gint power_pin,
                              gint wdisable_pin, gint alive_pin, gint sim_pin,
                              gint function_select_pin)
{
    zolv::PowerLines &lines = self->priv->lines;

    lines[Line::reset].define(reset_pin);
    lines[Line::power].define(power_pin);
    lines[Line::wdisable].define(wdisable_pin);
    lines[Line::sim].define(sim_pin == 0 ? -1 : sim_pin);
    self->priv->alive_pin = alive_pin;
    self->priv->function_select.define(function_select_pin);
}

void
zolv_socket_type6_start(ZolvSocketType6 *self)
{
    zolv::start_power_on(self->priv->starter, "zolv_socket_type6", ZOLV_SOCKET(self));
}

void
zolv_socket_type6_export(ZolvSocketType6 *self)
{
    zolv_obj_export(ZOLV_OBJ(self));
}

void
zolv_socket_type6_unexport(ZolvSocketType6 *self)
{
    zolv_obj_unexport(ZOLV_OBJ(self));
}
