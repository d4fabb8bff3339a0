#pragma once

#include "helpers/zolv-gpio-line.h"
#include "peripherals/serialport/zolv-serialport.h"
#include "zolv-error.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <tuple>

namespace zolv {

/* What chooses one mode: the levels of the register, where there is one, and of the pins, P0 first.
 */
struct PinMode {
    guint mode;
    std::array<std::uint8_t, 4> levels;
    bool kernel_rs485 = false; /* whether the kernel drives the direction of the line */
};

/* The modes of one kind of port. None has the one with four wires, which is refused by name. */
struct PinModeTable {
    std::size_t n_levels;
    std::span<const PinMode> rows;
    bool register_first = false;
    ZolvCoreError four_wire_code = ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT;
    ZolvCoreError unknown_code = ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE;

    /* The first level is the most significant bit. */
    constexpr unsigned code(const PinMode &row) const
    {
        unsigned bits = 0;

        for (std::size_t i = 0; i < n_levels; ++i)
            bits = bits * 2 + row.levels[i];
        return bits;
    }

    const PinMode *row_of_mode(guint mode, GError **error) const;
    const PinMode *row_of_code(unsigned code, GError **error) const;
};

/* Whether a table can be read back: levels are 0 and 1, places beyond the last one 0, no code and
 * no mode stands twice, and no row is for a mode that is refused before it is looked for. */
consteval bool
is_sound(const PinModeTable &table)
{
    if (table.n_levels > std::tuple_size_v<decltype(PinMode::levels)>)
        return false;
    for (std::size_t i = 0; i < table.rows.size(); ++i) {
        const PinMode &row = table.rows[i];

        if (row.mode >= SERIALPORT_RS485_4W)
            return false;
        for (std::size_t level = 0; level < row.levels.size(); ++level)
            if (row.levels[level] > (level < table.n_levels ? 1 : 0))
                return false;
        for (std::size_t other = 0; other < i; ++other)
            if (table.rows[other].mode == row.mode ||
                table.code(table.rows[other]) == table.code(row))
                return false;
    }
    return true;
}

/*
 * The register and the pins of one port. They are written one after the other, and the first that
 * fails ends it: those before stay as they were written.
 */
class ModePins {
  public:
    explicit ModePins(const PinModeTable &table) : table_(table) {}

    void define_register(const char *path) { register_ = path != nullptr ? path : ""; }
    void define(std::initializer_list<GpioLine> lines)
    {
        std::ranges::copy(lines, lines_.begin());
        defined_ = true;
    }
    bool defined() const { return defined_; }

    const PinMode *row_of_mode(guint mode, GError **error) const
    {
        return table_.row_of_mode(mode, error);
    }
    bool drive(const PinMode &row, GError **error) const;
    /* All of them to 0. */
    bool clear(GError **error) const;
    /* The row that they show; null with an error where there is none. */
    const PinMode *read(GError **error) const;
    /* Its mode alone. */
    bool read_mode(guint *mode, GError **error) const;

  private:
    bool write_level(std::size_t place, guint level, GError **error) const;
    bool read_level(std::size_t place, guint *level, GError **error) const;
    const GpioLine &line(std::size_t place) const
    {
        return lines_[place - (table_.register_first ? 1 : 0)];
    }

    const PinModeTable &table_;
    std::string register_;
    /* P0 first. Before they are defined, and for a line that is not wired, the number is that of no
     * line, and what is asked of it fails. */
    std::array<GpioLine, std::tuple_size_v<decltype(PinMode::levels)>> lines_;
    bool defined_ = false;
};

} // namespace zolv
