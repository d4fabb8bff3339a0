#include "manager/zolv-model-table.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

constexpr std::array rows = {
    zolv::ModelRow{"QX-1100", "libzolv-model-qx-1100.so"},
    zolv::ModelRow{"QX-1110", "libzolv-model-qx-1110.so"},
    zolv::ModelRow{"QX-2210", "libzolv-model-qx-1110.so"},
    zolv::ModelRow{"RB-500-T-LITE", "libzolv-model-rb-500_no_socket.so"},
    zolv::ModelRow{"RB-500-T-EU", "libzolv-model-rb-500.so"},
    zolv::ModelRow{"RB-500-EU", "libzolv-model-rb-500.so"},
    /* The boards of this source tree: the simulated one and the emulated Arm computer. */
    zolv::ModelRow{"PERIMOND-SIM", "libzolv-model-perimond-sim.so"},
    zolv::ModelRow{"PERIMOND-EMU", "libzolv-model-perimond-emu.so"},
};

constexpr char
lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool
begins_with(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](char a, char b) { return lower(a) == lower(b); });
}

/* A row that begins like an earlier, shorter one would never be found. */
consteval bool
no_row_hides_a_later_one()
{
    for (std::size_t first = 0; first < rows.size(); first++)
        for (std::size_t later = first + 1; later < rows.size(); later++)
            if (begins_with(rows[later].prefix, rows[first].prefix))
                return false;
    return true;
}

static_assert(no_row_hides_a_later_one());

} // namespace

const std::span<const zolv::ModelRow> zolv::model_table = rows;

const zolv::ModelRow *
zolv::find_model(const char *model_name)
{
    for (const ModelRow &row : model_table)
        if (begins_with(model_name, row.prefix))
            return &row;
    return nullptr;
}
