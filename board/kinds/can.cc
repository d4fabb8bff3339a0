/* CAN controllers as far as programs see them that ask for state and bit rate through libsocketcan;
 * socketcan.c stands in for that library on the board. No frame is sent or received. */

#include "verbs.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>

namespace board {

namespace {

struct Controller {
    long long state = 4;
    long long bitrate = 500000;
    std::weak_ptr<Node> folder; /* that of its files, as long as it is there */
};

using Controllers = std::map<std::string, std::shared_ptr<Controller>>;

/* By the kernel's numbers. */
constexpr std::array<const char *, 6> states = {"error-active", "error-warning", "error-passive",
                                                "bus-off",      "stopped",       "sleeping"};

long long
state_number(const std::string &word)
{
    const auto *found = std::find(states.begin(), states.end(), word);

    return found != states.end() ? found - states.begin() : number(word);
}

std::string
state_text(long long state)
{
    return state >= 0 && state < static_cast<long long>(states.size())
               ? states.at(static_cast<std::size_t>(state))
               : std::to_string(state);
}

std::string
text_of(const Controller &controller)
{
    return "state=" + state_text(controller.state) +
           " bitrate=" + std::to_string(controller.bitrate);
}

void
set(Controller &controller, const std::map<std::string, std::string> &values)
{
    for (const auto &[name, value] : values) {
        if (name == "state")
            controller.state = state_number(value);
        else if (name == "bitrate")
            controller.bitrate = number(value);
        else
            throw Refusal("a CAN controller has no '" + name + "'");
    }
}

std::shared_ptr<Attribute>
shown(const std::shared_ptr<Controller> &controller, long long Controller::*value)
{
    return std::make_shared<Attribute>(
        [controller, value](std::string &text) {
            text = std::to_string((*controller).*value) + "\n";
            return 0;
        },
        [](std::string_view) { return EACCES; });
}

void
add_one(World &world, Controllers &controllers, const Words &words)
{
    const std::string folder = "can/" + words[1];
    auto controller = std::make_shared<Controller>();

    set(*controller, settings(words, 2));
    world.files.dev().put(folder + "/state", shown(controller, &Controller::state));
    world.files.dev().put(folder + "/bitrate", shown(controller, &Controller::bitrate));
    controller->folder = world.files.dev().resolve(folder);
    controllers[words[1]] = controller;
}

Controller &
find(World &world, const Controllers &controllers, const std::string &name)
{
    const auto found = controllers.find(name);
    const auto folder = world.files.dev().resolve("can/" + name);

    if (found == controllers.end() || !folder || found->second->folder.lock() != folder)
        throw Refusal("there is no CAN controller " + name);
    return *found->second;
}

} // namespace

void
add_can(World &world)
{
    auto controllers = std::make_shared<Controllers>();

    world.verbs.push_back(
        {"add-can", "NAME [state=STATE] [bitrate=NUMBER]",
         "adds a CAN controller; STATE is error-active, error-warning, error-passive, bus-off, "
         "stopped (as long as it is not told otherwise), sleeping or a number. Its files are below "
         "/dev/can/NAME; plug a net device of that name to announce it",
         1, [&world, controllers](const Words &words, const Done &done) {
             add_one(world, *controllers, words);
             done("");
         }});
    world.verbs.push_back({"can", "NAME [state=STATE] [bitrate=NUMBER]",
                           "prints what the kernel tells of a CAN controller; sets it", 1,
                           [&world, controllers](const Words &words, const Done &done) {
                               Controller &controller = find(world, *controllers, words[1]);
                               set(controller, settings(words, 2));
                               done(words.size() > 2 ? "" : text_of(controller) + "\n");
                           }});
}

} // namespace board
