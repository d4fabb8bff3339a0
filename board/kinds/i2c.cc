/* I2C adapters that take new devices by name and address. */

#include "verbs.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>

namespace board {

namespace {

/* "TYPE ADDRESS", up to a terminator that longer writes contain. */
int
new_device(World &world, const std::string &adapter, std::string_view text)
{
    std::string line(text.substr(0, text.find('\0')));
    std::size_t blank = line.find(' ');
    long long address = 0;
    std::array<char, 16> name{};

    if (blank == std::string::npos || blank == 0 || blank >= 20 ||
        !parse_number(std::string_view(line).substr(blank + 1), address) || address < 0 ||
        address > 0x7f)
        return EINVAL;
    (void)std::snprintf(name.data(), name.size(), "%s-%04llx", adapter.c_str(),
                        static_cast<unsigned long long>(address));
    Device client;
    client.subsystem = "i2c";
    client.name = name.data();
    client.parent = "platform/i2c" + adapter + "/i2c-" + adapter;
    client.attributes = {{"name", line.substr(0, blank)}};
    client.properties = {{"MODALIAS", "i2c:" + line.substr(0, blank)}};
    return world.devices.add(client) ? 0 : EBUSY;
}

} // namespace

void
add_i2c(World &world)
{
    world.verbs.push_back({"i2c", "NUMBER NAME...", "adds an I2C adapter", 2,
                           [&world](const Words &words, const Done &done) {
                               Device adapter;
                               adapter.subsystem = "i2c";
                               adapter.name = "i2c-" + words[1];
                               adapter.parent = "platform/i2c" + words[1];
                               std::string name = words[2];
                               for (std::size_t i = 3; i < words.size(); ++i)
                                   name += " " + words[i];
                               adapter.attributes = {{"name", name}};
                               auto folder = world.devices.add(adapter);
                               if (!folder)
                                   throw Refusal("there is already an I2C adapter " + words[1]);
                               folder->add(
                                   "new_device",
                                   std::make_shared<Attribute>(
                                       nullptr, [&world, number = words[1]](std::string_view text) {
                                           return new_device(world, number, text);
                                       }));
                               done("");
                           }});
}

} // namespace board
