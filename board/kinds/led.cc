/* LED-class devices: a trigger file that lists all and brackets the active one, a brightness. */

#include "verbs.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>

namespace board {

namespace {

struct Led {
    long long brightness = 0;
    long long max = 1;
    std::size_t trigger = 0; /* index in triggers; 0 is none */
    std::vector<std::string> triggers{"none", "heartbeat", "timer", "default-on", "mmc0"};
    std::int64_t since_us = 0; /* when the trigger was chosen */

    /* Two beats a second and a quarter, as the kernel's trigger gives on an idle computer. */
    long long shown() const
    {
        if (triggers[trigger] != "heartbeat")
            return brightness;
        std::int64_t phase = (now_us() - since_us) / 1000 % 1260;
        return phase < 70 || (phase >= 315 && phase < 385) ? max : 0;
    }

    std::string listing() const
    {
        std::string text;

        for (std::size_t i = 0; i < triggers.size(); ++i)
            text += (i == 0 ? "" : " ") + (i == trigger ? "[" + triggers[i] + "]" : triggers[i]);
        return text + "\n";
    }

    int choose(std::string_view text)
    {
        for (std::size_t i = 0; i < triggers.size(); ++i) {
            if (!same_word(text, triggers[i]))
                continue;
            /* A trigger that goes leaves the LED dark. */
            if (trigger != 0)
                brightness = 0;
            if (triggers[i] == "default-on")
                brightness = max;
            trigger = i;
            since_us = now_us();
            return 0;
        }
        return EINVAL;
    }

    int light(std::string_view text)
    {
        long long wanted = 0;

        if (!parse_number(text, wanted, 10) || wanted < 0)
            return EINVAL;
        if (wanted == 0)
            trigger = 0;
        brightness = std::min(wanted, max);
        return 0;
    }
};

using Leds = std::map<std::string, std::shared_ptr<Led>>;

void
add_one(World &world, Leds &leds, const Words &words)
{
    auto led = std::make_shared<Led>();
    Device device;

    device.subsystem = "leds";
    device.name = words[1];
    device.parent = "platform/leds";
    for (const auto &[name, value] : settings(words, 2)) {
        if (name == "max")
            led->max = number(value);
        else if (name == "trigger") {
            if (std::find(led->triggers.begin(), led->triggers.end(), value) == led->triggers.end())
                led->triggers.push_back(value);
            led->choose(value);
        } else
            throw Refusal("an LED has max=NUMBER and trigger=NAME");
    }
    auto folder = world.devices.add(device);
    if (!folder)
        throw Refusal("there is already an LED " + words[1]);
    folder->put_text("max_brightness", std::to_string(led->max));
    folder->add("trigger", std::make_shared<Attribute>(
                               [led](std::string &text) {
                                   text = led->listing();
                                   return 0;
                               },
                               [led](std::string_view text) { return led->choose(text); }));
    folder->add("brightness", std::make_shared<Attribute>(
                                  [led](std::string &text) {
                                      text = std::to_string(led->shown()) + "\n";
                                      return 0;
                                  },
                                  [led](std::string_view text) { return led->light(text); }));
    leds[words[1]] = led;
}

} // namespace

void
add_led(World &world)
{
    auto leds = std::make_shared<Leds>();

    world.verbs.push_back({"add-led", "NAME [max=NUMBER] [trigger=NAME]", "adds an LED", 1,
                           [&world, leds](const Words &words, const Done &done) {
                               add_one(world, *leds, words);
                               done("");
                           }});
    world.verbs.push_back(
        {"led", "[NAME]", "prints an LED's trigger and brightness, or those of all", 0,
         [&world, leds](const Words &words, const Done &done) {
             std::string text;
             for (const auto &[name, led] : *leds) {
                 if ((words.size() > 1 && words[1] != name) ||
                     world.devices.find("leds", name) == nullptr) /* unplugged */
                     continue;
                 text += (words.size() > 1 ? "" : name + " ") + led->triggers[led->trigger] + " " +
                         std::to_string(led->shown()) + "\n";
             }
             if (words.size() > 1 && text.empty())
                 throw Refusal("there is no LED " + words[1]);
             done(text);
         }});
}

} // namespace board
