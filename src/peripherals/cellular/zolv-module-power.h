#pragma once

#include "peripherals/cellular/zolv-cellular.h"
#include "peripherals/zolv-power-sequence.h"

namespace zolv {

/* The lines by which a model switches its own power, and how it does so. A member of the module's
 * private data. */
class ModulePower {
  public:
    struct Sequences {
        std::span<const PowerStep> on;
        std::span<const PowerStep> off;
    };

    ModulePower(ZolvCellular *module, Sequences sequences) : module_(module), sequences_(sequences)
    {
    }

    /* The numbers of the lines, -1 where there is none. @alive reads high while the module runs. */
    void define_pins(int power, int off, int alive, int wdisable);
    /* The state that the module has already is a success. */
    bool set(bool on, GError **error) const;
    bool get(gboolean *on, GError **error) const;

  private:
    PowerHardware hardware() const;

    ZolvCellular *module_;
    Sequences sequences_;
    PowerLines lines_;
    int alive_ = -1;
};

} // namespace zolv
