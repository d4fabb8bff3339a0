#pragma once

#include "core/zolv-fail.h"
#include "peripherals/socket/zolv-socket.h"
#include "peripherals/zolv-power-sequence.h"

namespace zolv {

/* The line that selects a SIM slot, and how. */
struct SimSelect {
    enum Mode : guint { none = 0, high_is_second = 1, low_is_second = 2 };

    GpioLine line;
    guint mode = high_is_second;

    bool set(guint slot, GError **error) const;
    bool get(guint *slot, GError **error) const;
};

/* Whether the module has power, by a line that reads @on_level then. */
bool read_power(const GpioLine &line, guint on_level, gboolean *on, GError **error);

/* The alive wait of the socket's class, for its sequences. */
std::function<bool(guint, guint, GError **)> alive_wait(ZolvSocket *socket, int pin);

/* What a wiring answers that has no switch. */
bool refuse_power(GError **error);
bool refuse_sim_slot(GError **error);

/* The same as slots. */
gboolean refuse_set_power(ZolvSocket *self, gboolean on, GError **error);
gboolean refuse_get_power(ZolvSocket *self, gboolean *on, GError **error);
gboolean refuse_set_sim_slot(ZolvSocket *self, guint slot, GError **error);
gboolean refuse_get_sim_slot(ZolvSocket *self, guint *slot, GError **error);

} // namespace zolv
