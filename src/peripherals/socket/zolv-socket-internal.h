#pragma once

#include "core/zolv-fail.h"
#include "core/zolv-worker.h"
#include "peripherals/cellular/zolv-cellular.h"
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

/* What the sequences of a socket work on. Where the number is above 0, @alive_pin shows by a high
 * level that the module runs. */
PowerHardware socket_hardware(ZolvSocket *socket, const PowerLines &lines, int alive_pin = -1);

/* Switches a wiring that knows its state by a line, which is high for on: where it has the wanted
 * state, nothing is done. */
struct PowerSequences {
    std::span<const PowerStep> on;
    std::span<const PowerStep> off;
};
bool switch_power(bool on, const GpioLine &state, const PowerSequences &sequences,
                  const PowerHardware &hardware, GError **error);

/* Ends the module by fast_end, where the line says that it has power. */
bool fast_shutdown(const GpioLine &state, const PowerHardware &hardware, GError **error);

/* What is in the socket: modules that were recognised in it since the start, of each kind the last.
 * Also for the threads of a socket. */
ZolvCellular *cellular_in(ZolvSocket *socket);
bool has_wifi(ZolvSocket *socket);
/* For a wiring that knows its module by itself. */
void put_cellular_in(ZolvSocket *socket, ZolvCellular *cellular);
const char *cellular_name_of(ZolvSocket *socket);

/* Powers the module on from a thread, since that takes long. */
void start_power_on(Worker &starter, const char *name, ZolvSocket *socket);

/* What a wiring answers that has no switch. */
bool refuse_power(GError **error);
bool refuse_sim_slot(GError **error);

/* The same as slots. */
gboolean refuse_set_power(ZolvSocket *self, gboolean on, GError **error);
gboolean refuse_get_power(ZolvSocket *self, gboolean *on, GError **error);
gboolean refuse_set_sim_slot(ZolvSocket *self, guint slot, GError **error);
gboolean refuse_get_sim_slot(ZolvSocket *self, guint *slot, GError **error);

} // namespace zolv
