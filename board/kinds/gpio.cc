/* GPIO lines as /sys/class/gpio shows them: exported by number, each with a physical level that
 * the commands turn and read. */

#include "verbs.h"

#include <algorithm>
#include <cerrno>
#include <memory>

namespace board {

namespace {

struct Line {
    bool output = false;
    bool level = false; /* physical: what the pin carries */
    bool active_low = false;
    std::string edge = "none"; /* of the logical value */
    std::shared_ptr<Attribute> value;
    std::vector<long long> wired; /* inputs that this line drives */
};

class Gpio {
  public:
    explicit Gpio(World &world) : world_(world) {}

    void add_chip(long long base, long long count, const std::string &label);
    void turn(long long number, bool level);
    void wire(long long from, long long to);
    Line &line(long long number);
    std::string listing() const;

  private:
    int export_line(std::string_view text);
    int unexport_line(std::string_view text);
    bool exported(long long number) const;
    void add_files(Directory &folder, long long number, Line &line);
    int set_direction(long long number, std::string_view text);
    void set_level(Line &line, bool level);

    World &world_;
    std::map<long long, Line> lines_;
    std::map<long long, std::string> chip_of_; /* by a chip's first line */
};

void
Gpio::add_chip(long long base, long long count, const std::string &label)
{
    if (count < 1 || base < 0)
        throw Refusal("a chip has at least one line");
    auto after = lines_.lower_bound(base);
    if (after != lines_.end() && after->first < base + count)
        throw Refusal("line " + std::to_string(after->first) + " belongs to another chip");
    Device chip;
    chip.subsystem = "gpio";
    chip.name = "gpiochip" + std::to_string(base);
    chip.parent = "platform/" + label;
    chip.quiet = true;
    chip.attributes = {
        {"base", std::to_string(base)}, {"ngpio", std::to_string(count)}, {"label", label}};
    if (lines_.empty()) {
        auto store = [this](int (Gpio::*act)(std::string_view)) {
            return std::make_shared<Attribute>(
                nullptr, [this, act](std::string_view text) { return (this->*act)(text); });
        };
        world_.files.sys().put("class/gpio/export", store(&Gpio::export_line));
        world_.files.sys().put("class/gpio/unexport", store(&Gpio::unexport_line));
    }
    world_.devices.add(chip);
    for (long long i = base; i < base + count; ++i)
        lines_[i];
    chip_of_[base] = label;
}

Line &
Gpio::line(long long number)
{
    auto found = lines_.find(number);

    if (found == lines_.end())
        throw Refusal("there is no line " + std::to_string(number));
    return found->second;
}

int
Gpio::export_line(std::string_view text)
{
    long long number = 0;

    if (!parse_number(text, number))
        return EINVAL;
    auto found = lines_.find(number);
    if (found == lines_.end())
        return EINVAL;
    Line &line = found->second;
    Device device;
    device.subsystem = "gpio";
    device.name = "gpio" + std::to_string(number);
    device.parent = "platform/" + std::prev(chip_of_.upper_bound(number))->second;
    auto folder = world_.devices.add(device);
    if (!folder)
        return EBUSY;
    line.active_low = false;
    line.edge = "none";
    add_files(*folder, number, line);
    return 0;
}

int
Gpio::unexport_line(std::string_view text)
{
    long long number = 0;

    if (!parse_number(text, number))
        return EINVAL;
    if (!exported(number))
        return EINVAL;
    world_.devices.remove("gpio", "gpio" + std::to_string(number));
    return 0;
}

bool
Gpio::exported(long long number) const
{
    return lines_.contains(number) &&
           world_.devices.find("gpio", "gpio" + std::to_string(number)) != nullptr;
}

void
Gpio::add_files(Directory &folder, long long number, Line &line)
{
    line.value = std::make_shared<Attribute>(
        [&line](std::string &text) {
            text = line.level != line.active_low ? "1\n" : "0\n";
            return 0;
        },
        [this, &line](std::string_view text) {
            long long value = 0;
            if (!line.output)
                return EPERM;
            if (!parse_number(text, value))
                return EINVAL;
            set_level(line, (value != 0) != line.active_low);
            return 0;
        });
    folder.add("value", line.value);
    folder.add("direction",
               std::make_shared<Attribute>(
                   [&line](std::string &text) {
                       text = line.output ? "out\n" : "in\n";
                       return 0;
                   },
                   [this, number](std::string_view text) { return set_direction(number, text); }));
    folder.add("active_low", std::make_shared<Attribute>(
                                 [&line](std::string &text) {
                                     text = line.active_low ? "1\n" : "0\n";
                                     return 0;
                                 },
                                 [&line](std::string_view text) {
                                     long long value = 0;
                                     if (!parse_number(text, value))
                                         return EINVAL;
                                     line.active_low = value != 0;
                                     return 0;
                                 }));
    folder.add("edge", std::make_shared<Attribute>(
                           [&line](std::string &text) {
                               text = line.edge + "\n";
                               return 0;
                           },
                           [&line](std::string_view text) {
                               for (const char *edge : {"none", "rising", "falling", "both"}) {
                                   if (same_word(text, edge)) {
                                       /* An interrupt needs an input. */
                                       if (line.output && edge != std::string_view("none"))
                                           return EIO;
                                       line.edge = edge;
                                       return 0;
                                   }
                               }
                               return EINVAL;
                           }));
}

/* The words give physical levels, whatever active_low says. */
int
Gpio::set_direction(long long number, std::string_view text)
{
    Line &set = line(number);
    bool high = same_word(text, "high");

    if (same_word(text, "in")) {
        set.output = false;
        for (const auto &[_, source] : lines_) {
            if (source.output && std::count(source.wired.begin(), source.wired.end(), number) > 0)
                set_level(set, source.level);
        }
        return 0;
    }
    if (!high && !same_word(text, "out") && !same_word(text, "low"))
        return EINVAL;
    set.output = true;
    set_level(set, high);
    return 0;
}

void
Gpio::set_level(Line &line, bool level)
{
    bool changed = line.level != level;

    line.level = level;
    if (changed && line.value && line.edge != "none") {
        bool rising = level != line.active_low;
        if (line.edge == "both" || (line.edge == "rising") == rising)
            line.value->notify();
    }
    for (long long to : line.wired) {
        Line &input = lines_[to];
        if (!input.output && input.level != level) /* lines may be wired in a ring */
            set_level(input, level);
    }
}

void
Gpio::turn(long long number, bool level)
{
    Line &turned = line(number);

    if (turned.output)
        throw Refusal("line " + std::to_string(number) + " is an output");
    set_level(turned, level);
}

void
Gpio::wire(long long from, long long to)
{
    Line &source = line(from);

    line(to);
    if (from == to)
        throw Refusal("a line cannot drive itself");
    source.wired.push_back(to);
    if (source.output)
        set_level(source, source.level);
}

std::string
Gpio::listing() const
{
    std::string text;

    for (const auto &[number, line] : lines_) {
        if (exported(number))
            text += std::to_string(number) + (line.output ? " out " : " in ") +
                    (line.level ? "1" : "0") + (line.active_low ? " active-low" : "") +
                    (line.edge == "none" ? "" : " edge=" + line.edge) + "\n";
    }
    return text;
}

bool
level_of(const std::string &word)
{
    long long level = number(word);

    if (level != 0 && level != 1)
        throw Refusal("a level is 0 or 1");
    return level == 1;
}

} // namespace

void
add_gpio(World &world)
{
    auto gpio = std::make_shared<Gpio>(world);

    world.verbs.push_back({"gpiochip", "BASE COUNT [LABEL]", "adds a chip of GPIO lines", 2,
                           [gpio](const Words &words, const Done &done) {
                               gpio->add_chip(number(words[1]), number(words[2]),
                                              words.size() > 3 ? words[3] : "gpio" + words[1]);
                               done("");
                           }});
    world.verbs.push_back({"turn", "LINE LEVEL", "drives an input line to a physical level, 0 or 1",
                           2, [gpio](const Words &words, const Done &done) {
                               gpio->turn(number(words[1]), level_of(words[2]));
                               done("");
                           }});
    world.verbs.push_back({"read", "LINE", "prints the physical level of a line", 1,
                           [gpio](const Words &words, const Done &done) {
                               done(gpio->line(number(words[1])).level ? "1\n" : "0\n");
                           }});
    world.verbs.push_back({"wire", "OUTPUT INPUT", "lets an output line drive an input line", 2,
                           [gpio](const Words &words, const Done &done) {
                               gpio->wire(number(words[1]), number(words[2]));
                               done("");
                           }});
    world.verbs.push_back({"lines", "",
                           "lists the exported lines: direction, physical level, active-low, edge",
                           0, [gpio](const Words &, const Done &done) { done(gpio->listing()); }});
}

} // namespace board
