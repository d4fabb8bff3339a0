/* PWM chips: channels that are exported by number; the kernel refuses a duty cycle above the
 * period, a period below the duty cycle and a period of 0. */

#include "verbs.h"

#include <array>
#include <cerrno>
#include <memory>

namespace board {

namespace {

struct Channel {
    long long period = 0;
    long long duty_cycle = 0;
    bool inversed = false;
    bool enabled = false;
    bool exported = false;

    int set(long long new_period, long long new_duty_cycle)
    {
        if (new_period <= 0 || new_duty_cycle < 0 || new_duty_cycle > new_period)
            return EINVAL;
        period = new_period;
        duty_cycle = new_duty_cycle;
        return 0;
    }
};

using Channels = std::vector<Channel>;

std::shared_ptr<Attribute>
count(long long Channel::*member, const std::shared_ptr<Channels> &channels, std::size_t index)
{
    return std::make_shared<Attribute>(
        [=](std::string &text) {
            text = std::to_string((*channels)[index].*member) + "\n";
            return 0;
        },
        [=](std::string_view text) {
            Channel &channel = (*channels)[index];
            long long value = 0;
            if (!parse_number(text, value))
                return EINVAL;
            return member == &Channel::period ? channel.set(value, channel.duty_cycle)
                                              : channel.set(channel.period, value);
        });
}

void
add_files(Directory &folder, const std::shared_ptr<Channels> &channels, std::size_t index)
{
    folder.add("period", count(&Channel::period, channels, index));
    folder.add("duty_cycle", count(&Channel::duty_cycle, channels, index));
    folder.add("polarity", std::make_shared<Attribute>(
                               [=](std::string &text) {
                                   text = (*channels)[index].inversed ? "inversed\n" : "normal\n";
                                   return 0;
                               },
                               [=](std::string_view text) {
                                   Channel &channel = (*channels)[index];
                                   bool inversed = same_word(text, "inversed");
                                   if (!inversed && !same_word(text, "normal"))
                                       return EINVAL;
                                   if (channel.period == 0)
                                       return EINVAL;
                                   if (channel.enabled && inversed != channel.inversed)
                                       return EBUSY;
                                   channel.inversed = inversed;
                                   return 0;
                               }));
    folder.add("enable", std::make_shared<Attribute>(
                             [=](std::string &text) {
                                 text = (*channels)[index].enabled ? "1\n" : "0\n";
                                 return 0;
                             },
                             [=](std::string_view text) {
                                 Channel &channel = (*channels)[index];
                                 long long value = 0;
                                 if (!parse_number(text, value) || value < 0 || value > 1 ||
                                     channel.period == 0)
                                     return EINVAL;
                                 channel.enabled = value == 1;
                                 return 0;
                             }));
}

std::string
channel_name(std::size_t index)
{
    return "pwm" + std::to_string(index);
}

/* The index that was written, if the chip has such a channel. */
int
parse_channel(std::string_view text, const Channels &channels, std::size_t &index)
{
    long long value = 0;

    if (!parse_number(text, value) || value < 0)
        return EINVAL;
    index = static_cast<std::size_t>(value);
    return index < channels.size() ? 0 : ENODEV;
}

std::shared_ptr<Channels>
add_chip(World &world, const Words &words)
{
    long long count = number(words[2]);
    long long period = words.size() > 3 ? number(words[3]) : 1000000;
    if (count < 1 || period < 0)
        throw Refusal("a chip has at least one channel, and no period is below 0");
    auto channels = std::make_shared<Channels>(static_cast<std::size_t>(count));
    Device chip;

    chip.subsystem = "pwm";
    chip.name = "pwmchip" + words[1];
    chip.parent = "platform/pwm" + words[1];
    chip.attributes = {{"npwm", words[2]}};
    for (Channel &channel : *channels) /* what a boot loader may have left in the registers */
        channel.period = period;
    auto folder = world.devices.add(chip);
    if (!folder)
        throw Refusal("there is already a PWM chip " + words[1]);
    /* The folder holds these two, so they must not keep it alive. */
    std::weak_ptr<Directory> home = folder;
    folder->add("export", std::make_shared<Attribute>(nullptr, [=](std::string_view text) {
                    std::size_t index = 0;
                    if (int error = parse_channel(text, *channels, index); error != 0)
                        return error;
                    if ((*channels)[index].exported)
                        return EBUSY;
                    auto channel = std::make_shared<Directory>();
                    home.lock()->add(channel_name(index), channel);
                    (*channels)[index].exported = true;
                    add_files(*channel, channels, index);
                    return 0;
                }));
    folder->add("unexport", std::make_shared<Attribute>(nullptr, [=](std::string_view text) {
                    std::size_t index = 0;
                    if (int error = parse_channel(text, *channels, index); error != 0)
                        return error;
                    if (!(*channels)[index].exported)
                        return ENODEV;
                    (*channels)[index].exported = false;
                    home.lock()->remove(channel_name(index));
                    return 0;
                }));
    return channels;
}

} // namespace

void
add_pwm(World &world)
{
    auto chips = std::make_shared<std::map<long long, std::shared_ptr<Channels>>>();

    world.verbs.push_back({"pwmchip", "NUMBER CHANNELS [PERIOD]",
                           "adds a PWM chip whose channels start with a period in nanoseconds", 2,
                           [&world, chips](const Words &words, const Done &done) {
                               (*chips)[number(words[1])] = add_chip(world, words);
                               done("");
                           }});
    world.verbs.push_back(
        {"pwm", "CHIP CHANNEL", "prints period, duty cycle (ns), polarity and on or off", 2,
         [&world, chips](const Words &words, const Done &done) {
             auto chip = chips->find(number(words[1]));
             auto index = static_cast<std::size_t>(number(words[2]));
             if (chip == chips->end() ||
                 world.devices.find("pwm", "pwmchip" + std::to_string(chip->first)) == nullptr ||
                 index >= chip->second->size())
                 throw Refusal("there is no PWM channel " + words[1] + " " + words[2]);
             const Channel &channel = (*chip->second)[index];
             done(std::to_string(channel.period) + " " + std::to_string(channel.duty_cycle) +
                  (channel.inversed ? " inversed" : " normal") +
                  (channel.enabled ? " on\n" : " off\n"));
         }});
}

} // namespace board
