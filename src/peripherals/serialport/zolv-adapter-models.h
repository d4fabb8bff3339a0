#pragma once

#include <array>
#include <glib.h>
#include <span>

namespace zolv {

/* What a model's transceivers can do. */
enum class AdapterClass : guint { rs232_only = 0, rs422_and_485 = 1, all = 2 };

/* A model of the maker's USB serial adapters; the identifiers are four hexadecimal digits. */
struct AdapterModel {
    const char *vendor;
    const char *product;
    AdapterClass interfaces;
};

/* PLACEHOLDERS: these identifiers belong to nobody, and stand until the maker's list of adapters is
 * there. What is known is how many models there are of each class. */
inline constexpr const char *adapter_vendor = "ffff";

/* The last row is empty: it ends the table. */
inline constexpr std::array adapter_models = {
    AdapterModel{adapter_vendor, "0001", AdapterClass::rs232_only},
    AdapterModel{adapter_vendor, "0002", AdapterClass::rs232_only},
    AdapterModel{adapter_vendor, "0003", AdapterClass::rs232_only},
    AdapterModel{adapter_vendor, "0004", AdapterClass::rs232_only},
    AdapterModel{adapter_vendor, "0005", AdapterClass::rs232_only},
    AdapterModel{adapter_vendor, "0006", AdapterClass::rs232_only},
    AdapterModel{adapter_vendor, "0101", AdapterClass::rs422_and_485},
    AdapterModel{adapter_vendor, "0102", AdapterClass::rs422_and_485},
    AdapterModel{adapter_vendor, "0201", AdapterClass::all},
    AdapterModel{adapter_vendor, "0202", AdapterClass::all},
    AdapterModel{adapter_vendor, "0203", AdapterClass::all},
    AdapterModel{adapter_vendor, "0204", AdapterClass::all},
    AdapterModel{adapter_vendor, "0205", AdapterClass::all},
    AdapterModel{adapter_vendor, "0206", AdapterClass::all},
    AdapterModel{adapter_vendor, "0207", AdapterClass::all},
    AdapterModel{adapter_vendor, "0208", AdapterClass::all},
    AdapterModel{adapter_vendor, "0209", AdapterClass::all},
    AdapterModel{adapter_vendor, "020a", AdapterClass::all},
    AdapterModel{adapter_vendor, "020b", AdapterClass::all},
    AdapterModel{adapter_vendor, "020c", AdapterClass::all},
    AdapterModel{adapter_vendor, "020d", AdapterClass::all},
    AdapterModel{adapter_vendor, "020e", AdapterClass::all},
    AdapterModel{adapter_vendor, "020f", AdapterClass::all},
    AdapterModel{nullptr, nullptr, AdapterClass::rs232_only},
};

/* Baud rates of every adapter. */
inline constexpr std::array<guint, 15> adapter_baudrates = {
    50, 300, 600, 1200, 1800, 2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600,
};

/* The modes of an adapter in the order that its port tells them, the fallback first; RS-232 alone
 * for a model that is not known. The identifiers, either may be null, are compared without regard
 * to case. */
std::span<const guint> adapter_interfaces(const char *vendor, const char *product);

} // namespace zolv
