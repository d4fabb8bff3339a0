#include "peripherals/serialport/zolv-adapter-models.h"

#include "peripherals/serialport/zolv-serialport.h"

#include <algorithm>

namespace {

constexpr std::array<guint, 1> rs232_only = {SERIALPORT_RS232};
constexpr std::array<guint, 3> rs422_and_485 = {SERIALPORT_RS422, SERIALPORT_RS485_2W,
                                                SERIALPORT_RS485_4W};
constexpr std::array<guint, 4> all = {SERIALPORT_RS232, SERIALPORT_RS422, SERIALPORT_RS485_2W,
                                      SERIALPORT_RS485_4W};

/* By class. */
constexpr std::array<std::span<const guint>, 3> interfaces = {rs232_only, rs422_and_485, all};

bool
same_digits(const char *known, const char *seen)
{
    return known != nullptr && seen != nullptr && g_ascii_strcasecmp(known, seen) == 0;
}

} // namespace

std::span<const guint>
zolv::adapter_interfaces(const char *vendor, const char *product)
{
    const auto *model = std::ranges::find_if(adapter_models, [=](const AdapterModel &known) {
        return same_digits(known.vendor, vendor) && same_digits(known.product, product);
    });
    const AdapterClass found =
        model != adapter_models.end() ? model->interfaces : AdapterClass::rs232_only;

    return interfaces[static_cast<std::size_t>(found)];
}
