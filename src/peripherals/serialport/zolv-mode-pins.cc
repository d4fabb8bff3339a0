#include "peripherals/serialport/zolv-mode-pins.h"

#include "core/zolv-fail.h"
#include "core/zolv-text.h"
#include "helpers/zolv-helpers-common.h"

#include <algorithm>

const zolv::PinMode *
zolv::PinModeTable::row_of_mode(guint mode, GError **error) const
{
    const auto row = std::ranges::find(rows, mode, &PinMode::mode);

    if (row != rows.end())
        return &*row;
    if (mode == SERIALPORT_RS485_4W)
        fail(error, four_wire_code, "RS-485-4W is not supported");
    else
        failf(error, unknown_code, "unknown interface: %d", static_cast<int>(mode));
    return nullptr;
}

const zolv::PinMode *
zolv::PinModeTable::row_of_code(unsigned wanted, GError **error) const
{
    const auto row =
        std::ranges::find(rows, wanted, [this](const PinMode &known) { return code(known); });

    if (row != rows.end())
        return &*row;
    fail(error, ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE, "get unknown interface");
    return nullptr;
}

bool
zolv::ModePins::drive(const PinMode &row, GError **error) const
{
    for (std::size_t place = 0; place < table_.n_levels; ++place)
        if (!write_level(place, row.levels[place], error))
            return false;
    return true;
}

bool
zolv::ModePins::clear(GError **error) const
{
    return drive(PinMode{}, error);
}

const zolv::PinMode *
zolv::ModePins::read(GError **error) const
{
    unsigned code = 0;

    for (std::size_t place = 0; place < table_.n_levels; ++place) {
        guint level = 0;
        if (!read_level(place, &level, error))
            return nullptr;
        code = code * 2 + level;
    }
    return table_.row_of_code(code, error);
}

bool
zolv::ModePins::read_mode(guint *mode, GError **error) const
{
    const PinMode *row = read(error);

    if (row != nullptr)
        *mode = row->mode;
    return row != nullptr;
}

bool
zolv::ModePins::write_level(std::size_t place, guint level, GError **error) const
{
    if (table_.register_first && place == 0)
        return zolv_helper_write_file(register_.c_str(), level == 1 ? "1" : "0", 1, error);
    return line(place).drive(level, error);
}

/* A register may hold more than its one character; the rest is not looked at. */
bool
zolv::ModePins::read_level(std::size_t place, guint *level, GError **error) const
{
    char text[2] = "";

    if (!table_.register_first || place != 0)
        return line(place).read(level, error);
    if (!zolv_helper_read_file(register_.c_str(), text, 1, error))
        return false;
    if (text[0] != '0' && text[0] != '1')
        return failf(error, ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE, "unexpected value from '%s': %s",
                     fit_text(register_).c_str(), fit_text(text).c_str());
    *level = text[0] == '1' ? 1 : 0;
    return true;
}
