#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zolv {

/* The name of an adapter's port: @place is where it is attached, @model the property ID_MODEL,
 * @link the first link to its node. Every byte that is no letter, digit or "_" becomes "_". None
 * for a link without "port" and digits. */
std::optional<std::string> adapter_port_name(std::string_view place, std::string_view model,
                                             std::string_view link);

} // namespace zolv
