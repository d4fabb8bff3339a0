#include "peripherals/socket/zolv-socket-type2.h"

#include "core/zolv-class.h"
#include "peripherals/socket/zolv-socket-internal.h"

namespace {

enum PowerMode : guint { not_switchable = 0, high_is_on = 1, low_is_on = 2 };
enum FunctionSelectMode : guint { no_function_select = 0, low_blocks = 1, high_blocks = 2 };

} // namespace

struct _ZolvSocketType2Private {
    zolv::GpioLine power;
    zolv::GpioLine function_select;
    zolv::SimSelect sim{.line = {}, .mode = zolv::SimSelect::none};
    guint power_mode = not_switchable;
    guint function_select_mode = no_function_select;
};

/* Whether the socket serves its other function. */
static bool
read_blocked(ZolvSocketType2 *self, bool *blocked, GError **error)
{
    const ZolvSocketType2Private *priv = self->priv;
    guint level = 0;

    if (priv->function_select_mode != no_function_select &&
        !priv->function_select.read(&level, error))
        return false;
    *blocked = (priv->function_select_mode == low_blocks && level == 0) ||
               (priv->function_select_mode == high_blocks && level == 1);
    return true;
}

static gboolean
socket_type2_set_power(ZolvSocket *socket, gboolean on, GError **error)
{
    ZolvSocketType2 *self = ZOLV_SOCKET_TYPE2(socket);
    const guint mode = self->priv->power_mode;
    bool blocked = false;

    if (!read_blocked(self, &blocked, error))
        return FALSE;
    if (blocked)
        return zolv::fail(error, ZOLV_CORE_ERROR_NOT_PERMIT,
                          "Socket power can't be controlled due to function select");
    if (mode == not_switchable)
        return zolv::fail(error, ZOLV_CORE_ERROR_NOT_SUPPORT, "Operation not supported");
    return self->priv->power.drive((on != FALSE) == (mode == high_is_on) ? 1 : 0, error);
}

static gboolean
socket_type2_get_power(ZolvSocket *socket, gboolean *on, GError **error)
{
    ZolvSocketType2 *self = ZOLV_SOCKET_TYPE2(socket);
    const guint mode = self->priv->power_mode;
    bool blocked = false;

    if (!read_blocked(self, &blocked, error))
        return FALSE;
    if (!blocked && mode != not_switchable)
        return zolv::read_power(self->priv->power, mode == high_is_on ? 1 : 0, on, error);
    *on = TRUE;
    return TRUE;
}

static gboolean
socket_type2_set_sim_slot(ZolvSocket *socket, guint slot, GError **error)
{
    return ZOLV_SOCKET_TYPE2(socket)->priv->sim.set(slot, error);
}

static gboolean
socket_type2_get_sim_slot(ZolvSocket *socket, guint *slot, GError **error)
{
    return ZOLV_SOCKET_TYPE2(socket)->priv->sim.get(slot, error);
}

ZOLV_DEFINE_CLASS(ZolvSocketType2, zolv_socket_type2, ZOLV_TYPE_SOCKET)
{
    ZolvSocketClass *socket_class = ZOLV_SOCKET_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "Socket");
    socket_class->set_power = socket_type2_set_power;
    socket_class->get_power = socket_type2_get_power;
    socket_class->set_sim_slot = socket_type2_set_sim_slot;
    socket_class->get_sim_slot = socket_type2_get_sim_slot;
}

void
zolv_socket_type2_define_modes(ZolvSocketType2 *self, guint power_mode, guint function_select_mode,
                               guint sim_mode)
{
    self->priv->power_mode = power_mode;
    self->priv->function_select_mode = function_select_mode;
    self->priv->sim.mode = sim_mode;
}

void
zolv_socket_type2_define_pins(ZolvSocketType2 *self, gint power_pin, gint function_select_pin,
                              gint sim_pin)
{
    self->priv->power.define(power_pin);
    self->priv->function_select.define(function_select_pin);
    self->priv->sim.line.define(sim_pin);
    zolv_obj_export(ZOLV_OBJ(self));
}
