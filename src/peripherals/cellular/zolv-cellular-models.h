#pragma once

#include "peripherals/cellular/zolv-cellular.h"

#include <array>
#include <string_view>

namespace zolv {

/* What the models differ in. Identifiers and interface numbers are the lower-case hexadecimal
 * digits that the kernel and udev give. */
struct CellularModel {
    const char *vendor;
    const char *product;
    const char *gps; /* number of the USB interface whose tty gives NMEA sentences */
    const char *at;  /* ... whose tty takes AT commands */
    bool at_shutdown;
};

/* The two generations of the LE910 have the ports the other way round. */
inline constexpr CellularModel telit_le910 = {"1bc7", "1201", "03", "04", true};
inline constexpr CellularModel telit_le910c4wwx = {"1bc7", "1031", "02", "01", true};
inline constexpr CellularModel telit_fn990 = {"1bc7", "1070", "03", "04", true};
inline constexpr CellularModel quectel_ec20 = {"2c7c", "0125", "01", "02", false};
inline constexpr CellularModel quectel_rm520n = {"2c7c", "0801", "01", "02", true};

consteval bool
cellular_models_differ()
{
    constexpr std::array all = {telit_le910, telit_le910c4wwx, telit_fn990, quectel_ec20,
                                quectel_rm520n};

    for (std::size_t i = 0; i < all.size(); i++) {
        if (std::string_view(all[i].gps) == all[i].at)
            return false;
        for (std::size_t j = 0; j < i; j++)
            if (std::string_view(all[i].vendor) == all[j].vendor &&
                std::string_view(all[i].product) == all[j].product)
                return false;
    }
    return true;
}
static_assert(cellular_models_differ());

bool cellular_matches(const CellularModel &model, GUdevDevice *device);

/* Publishes a device below the module as what it is to the module; false where it is nothing. */
bool cellular_add_port(ZolvCellular *self, const CellularModel &model, GUdevDevice *device);

/* Fills in the slots in which a class differs by its model alone. */
template <const CellularModel &model>
void
define_cellular_model(ZolvCellularClass *klass)
{
    klass->device_add = [](ZolvCellular *self, GUdevDevice *device) -> gboolean {
        return cellular_add_port(self, model, device);
    };
    klass->check_matched = [](ZolvCellular *, GUdevDevice *device) -> gboolean {
        return cellular_matches(model, device);
    };
    klass->support_at_shutdown = [](ZolvCellular *) -> gboolean { return model.at_shutdown; };
}

} // namespace zolv
