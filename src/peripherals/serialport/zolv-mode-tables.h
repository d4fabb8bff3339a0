#pragma once

#include "peripherals/serialport/zolv-mode-pins.h"

/* How the transceivers of the boards are switched by pins. */
namespace zolv {

inline constexpr std::array type2_rows = {
    PinMode{SERIALPORT_RS232, {1, 1, 0, 0}},
    PinMode{SERIALPORT_RS485_2W, {0, 0, 0, 1}},
    PinMode{SERIALPORT_RS422, {0, 0, 1, 0}},
};
inline constexpr PinModeTable type2_modes = {.n_levels = 4, .rows = type2_rows};
static_assert(is_sound(type2_modes));

inline constexpr std::array type3_rows = {
    PinMode{SERIALPORT_RS232, {0, 1, 1, 1}},
    PinMode{SERIALPORT_RS485_2W, {1, 0, 0, 1}},
    PinMode{SERIALPORT_RS422, {1, 0, 1, 0}},
};
inline constexpr PinModeTable type3_modes = {.n_levels = 4, .rows = type3_rows};
static_assert(is_sound(type3_modes));

/* The register, which switches the RS-485 transceiver on, and three pins. The codes of its refusals
 * are its own. */
inline constexpr std::array type4_rows = {
    PinMode{SERIALPORT_RS232, {0, 1, 0, 0}},
    PinMode{SERIALPORT_RS485_2W, {1, 0, 1, 0}},
    PinMode{SERIALPORT_RS422, {1, 0, 0, 1}},
};
inline constexpr PinModeTable type4_modes = {
    .n_levels = 4,
    .rows = type4_rows,
    .register_first = true,
    .four_wire_code = ZOLV_CORE_ERROR_DEVICE_IO,
    .unknown_code = ZOLV_CORE_ERROR_INVAL_ARG,
};
static_assert(is_sound(type4_modes));

inline constexpr std::array type5_rows = {
    PinMode{SERIALPORT_RS232, {1, 0, 0}},
    PinMode{SERIALPORT_RS485_2W, {0, 0, 1}, /*kernel_rs485=*/true},
    PinMode{SERIALPORT_RS422, {0, 1, 0}},
};
inline constexpr PinModeTable type5_modes = {.n_levels = 3, .rows = type5_rows};
static_assert(is_sound(type5_modes));

} // namespace zolv
