#include "peripherals/serialport/zolv-adapter-name.h"

#include <algorithm>
#include <glib.h>

namespace {

constexpr std::string_view port_word = "port";

/* The digits behind the first "port" that has some; none where there is none. */
std::string_view
port_number(std::string_view link)
{
    for (auto at = link.find(port_word); at != link.npos; at = link.find(port_word, at + 1)) {
        const std::string_view rest = link.substr(at + port_word.size());
        const auto *end = std::ranges::find_if_not(rest, [](char c) { return g_ascii_isdigit(c); });

        if (end != rest.begin())
            return {rest.begin(), end};
    }
    return {};
}

/* What follows the last "_"; all of it where there is none. */
std::string_view
model_suffix(std::string_view model)
{
    return model.substr(model.rfind('_') + 1);
}

} // namespace

std::optional<std::string>
zolv::adapter_port_name(std::string_view place, std::string_view model, std::string_view link)
{
    const std::string_view number = port_number(link);
    std::string name(place);

    if (number.empty())
        return std::nullopt;
    name.append("_SERIVO").append(model_suffix(model)).append("_PORT").append(number);
    std::ranges::replace_if(
        name, [](char c) { return !g_ascii_isalnum(c) && c != '_'; }, '_');
    return name;
}
