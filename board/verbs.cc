#include "verbs.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace board {

void
World::act(const Words &words, const Done &done)
{
    for (const Verb &verb : verbs) {
        if (words.empty() || verb.name != words[0])
            continue;
        if (words.size() - 1 < verb.least)
            throw Refusal("usage: " + verb.name + " " + verb.arguments);
        verb.act(words, done);
        return;
    }
    throw Refusal("unknown command '" + (words.empty() ? "" : words[0]) + "'");
}

void
World::read_board(const std::string &path)
{
    std::ifstream file(path);
    std::string line;

    if (!file)
        throw Refusal("cannot read board file '" + path + "'");
    for (int number = 1; std::getline(file, line); ++number) {
        std::istringstream stream(line.substr(0, line.find('#')));
        Words words;

        for (std::string word; stream >> word;)
            words.push_back(unescape(word));
        if (words.empty())
            continue;
        try {
            act(words, [](const std::string &) {});
        } catch (const Refusal &refusal) {
            throw Refusal(path + ":" + std::to_string(number) + ": " + refusal.what());
        }
    }
}

long long
number(const std::string &word)
{
    long long value = 0;

    if (!parse_number(word, value))
        throw Refusal("'" + word + "' is not a number");
    return value;
}

std::map<std::string, std::string>
settings(const Words &words, std::size_t first)
{
    std::map<std::string, std::string> found;

    for (std::size_t i = first; i < words.size(); ++i) {
        std::size_t equal = words[i].find('=');

        if (equal == std::string::npos)
            throw Refusal("'" + words[i] + "' is not NAME=VALUE");
        found[words[i].substr(0, equal)] = words[i].substr(equal + 1);
    }
    return found;
}

std::string
simulated(const std::string &path)
{
    if (!path.starts_with("/sys/") && !path.starts_with("/dev/"))
        throw Refusal("'" + path + "' is not below /sys or /dev");
    return path;
}

namespace {

/* What can be wrong with an operation beside an error. */
struct Operation {
    std::string_view name;
    bool moves_data;
    bool takes_time;
};
constexpr std::array<Operation, 8> operations = {{{"open", false, true},
                                                  {"read", true, true},
                                                  {"write", true, true},
                                                  {"ioctl", false, true},
                                                  {"list", false, true},
                                                  {"follow", false, false},
                                                  {"find", false, false},
                                                  {"any", true, true}}};

/* "ioctl" strikes every request, "ioctl:0x541f" that one; the record writes its number so. */
std::string
operation_of(const std::string &word)
{
    std::array<char, 32> text{};

    if (!word.starts_with("ioctl:"))
        return word;
    (void)std::snprintf(text.data(), text.size(), "ioctl:0x%llx",
                        static_cast<unsigned long long>(number(word.substr(6))));
    return text.data();
}

Fault
fault_of(const Words &words)
{
    Fault fault;
    const std::string &what = words[3];
    const std::string name = words[2].starts_with("ioctl:") ? "ioctl" : words[2];
    const auto *operation =
        std::find_if(operations.begin(), operations.end(),
                     [&name](const Operation &known) { return known.name == name; });

    if (operation == operations.end())
        throw Refusal("'" + words[2] + "' is no operation");
    fault.pattern = words[1];
    fault.operation = operation_of(words[2]);
    if (words.size() > 4) {
        fault.left = static_cast<long>(number(words[4]));
        if (fault.left < 1)
            throw Refusal("a fault hits at least once");
    }
    if (what == "empty")
        fault.limit_bytes = 0;
    else if (what.starts_with("short:"))
        fault.limit_bytes = static_cast<long>(number(what.substr(6)));
    else if (what.starts_with("delay:"))
        fault.delay_us = static_cast<long>(number(what.substr(6))) * 1000;
    else
        fault.error = error_number(what);
    if (fault.error == 0 && fault.limit_bytes < 0 && fault.delay_us <= 0)
        throw Refusal("'" + what + "' is no error name, empty, short:BYTES or delay:MS");
    if ((fault.limit_bytes >= 0 && !operation->moves_data) ||
        (fault.delay_us > 0 && !operation->takes_time))
        throw Refusal("'" + what + "' has no effect on '" + words[2] + "'");
    return fault;
}

std::string
text_of(const Access &access)
{
    std::ostringstream line;

    line << access.time_us << ' ' << access.pid << ' ' << access.operation << ' ' << access.path
         << ' ' << access.result;
    if (!access.data.empty())
        line << " \"" << escape(access.data) << '"';
    line << '\n';
    return line.str();
}

void
show_record(World &world, const Words &words, const Done &done)
{
    std::string text;
    bool clear = false;
    std::string pattern;

    for (std::size_t i = 1; i < words.size(); ++i) {
        if (words[i] == "--clear")
            clear = true;
        else
            pattern = words[i];
    }
    for (const Access &access : world.record.accesses()) {
        if (pattern.empty() || path_matches(pattern, access.path))
            text += text_of(access);
    }
    if (clear)
        world.record.clear();
    done(text);
}

Device
device_of(const Words &words)
{
    static unsigned next_minor = 1;
    Device device;

    device.subsystem = words[1];
    device.name = words[2];
    for (const auto &[name, value] : settings(words, 3)) {
        if (name == "parent")
            device.parent = value;
        else if (name == "devtype")
            device.devtype = value;
        else if (name == "node")
            device.node = value.starts_with("/dev/") ? value.substr(5) : value;
        else if (name == "major")
            device.major = static_cast<unsigned>(number(value));
        else if (name == "minor")
            device.minor = static_cast<unsigned>(number(value));
        else if (name == "ifindex")
            device.ifindex = static_cast<int>(number(value));
        else if (name == "link")
            continue; /* there may be several: below */
        else if (name == "quiet")
            device.quiet = value == "1";
        else if (name.starts_with("attr/"))
            device.attributes[name.substr(5)] = value;
        else
            device.properties[name] = value;
    }
    for (const std::string &word : words) {
        if (word.starts_with("link="))
            device.links.push_back(word.substr(5));
    }
    /* A node has numbers, since its database entry goes by them; 240 is for local use. */
    if (!device.node.empty() && device.major == 0) {
        device.major = 240;
        device.minor = next_minor++;
    }
    return device;
}

void
plug(World &world, const Words &words, const Done &done)
{
    if (!world.devices.add(device_of(words)))
        throw Refusal("there is already a " + words[1] + " device " + words[2]);
    done("");
}

void
unplug(World &world, const Words &words, const Done &done)
{
    if (!world.devices.remove(words[1], words[2]))
        throw Refusal("there is no " + words[1] + " device " + words[2]);
    done("");
}

void
send_change(World &world, const Words &words, const Done &done)
{
    bool named = words.size() > 3 && words[3].find('=') == std::string::npos;

    if (!world.devices.announce(named ? words[3] : "change", words[1], words[2],
                                settings(words, named ? 4 : 3)))
        throw Refusal("there is no " + words[1] + " device " + words[2]);
    done("");
}

void
send_burst(World &world, const Words &words, const Done &done)
{
    for (long long i = 1; i <= number(words[3]); ++i) {
        if (!world.devices.announce("change", words[1], words[2], {{"BURST", std::to_string(i)}}))
            throw Refusal("there is no " + words[1] + " device " + words[2]);
    }
    done("");
}

void
list_devices(World &world, const Words &, const Done &done)
{
    std::string text;

    for (const auto &[key, device] : world.devices.all())
        text += device.subsystem + " " + device.name + " /sys" + device.path + "\n";
    done(text);
}

void
preset(World &world, const Words &words, const Done &done)
{
    std::string value = words[2];
    bool raw = value.starts_with("raw:");
    value = unescape(raw ? value.substr(4) : value) + (raw ? "" : "\n");
    std::string path = simulated(words[1]);

    if (auto link = world.files.root().resolve(path))
        path = link->path();
    world.files.root().put(path, std::make_shared<PlainFile>(value));
    done("");
}

void
put_link(World &world, const Words &words, const Done &done)
{
    world.files.root().put(simulated(words[1]), std::make_shared<Link>(words[2]));
    done("");
}

void
remove_file(World &world, const Words &words, const Done &done)
{
    auto node = world.files.root().resolve(simulated(words[1]));

    if (!world.files.root().drop(words[1]))
        throw Refusal("there is no '" + words[1] + "'");
    world.files.forget_names(node ? node->path() : words[1], [done] { done(""); });
}

void
add_fault(World &world, const Words &words, const Done &done)
{
    world.faults.add(fault_of(words));
    if (world.faults.all().back().operation == "find")
        world.files.forget_names(words[1], [done] { done(""); });
    else
        done("");
}

void
heal(World &world, const Words &words, const Done &done)
{
    world.faults.heal(words.size() > 1 ? words[1] : "");
    done("");
}

void
list_faults(World &world, const Words &, const Done &done)
{
    std::string text;

    for (const Fault &fault : world.faults.all())
        text += fault.text() + "\n";
    done(text);
}

void
note(World &world, const Words &words, const Done &done)
{
    Access access;

    access.time_us = now_us();
    access.operation = "run";
    access.path = words[1];
    for (std::size_t i = 2; i < words.size(); ++i)
        access.data += (i > 2 ? " " : "") + words[i];
    access.result = "0";
    world.record.add(std::move(access));
    done("");
}

void
list_commands(World &world, const Words &, const Done &done)
{
    std::string text;

    for (const Verb &known : world.verbs)
        text += known.name + (known.arguments.empty() ? "" : " ") + known.arguments + "\n    " +
                known.help + "\n";
    done(text);
}

struct CommonVerb {
    const char *name;
    const char *arguments;
    const char *help;
    std::size_t least;
    void (*act)(World &, const Words &, const Done &);
};

const CommonVerb common_verbs[] = {
    CommonVerb{
        "plug", "SUBSYSTEM NAME [KEY=VALUE]...",
        "adds a device. Keys: parent (path below /sys/devices), node (below /dev), major, minor, "
        "ifindex, devtype, link (a /dev path, may come again), attr/NAME, quiet=1 for no event; "
        "anything else is a property of the udev database",
        2, plug},
    CommonVerb{"unplug", "SUBSYSTEM NAME", "removes a device and all below it", 2, unplug},
    CommonVerb{"change", "SUBSYSTEM NAME [ACTION] [PROPERTY=VALUE]...",
               "sends an event of a device that stays: change, or the ACTION named", 2,
               send_change},
    CommonVerb{"burst", "SUBSYSTEM NAME COUNT", "sends COUNT change events of a device at once", 3,
               send_burst},
    CommonVerb{"devices", "", "lists the devices", 0, list_devices},
    CommonVerb{
        "preset", "PATH VALUE",
        "puts a file with a line of text below /sys or /dev; VALUE takes C escapes and, when it "
        "begins with raw:, gets no newline",
        2, preset},
    CommonVerb{"link", "PATH TARGET", "puts a symbolic link below /sys or /dev", 2, put_link},
    CommonVerb{"absent", "PATH", "removes a file or folder below /sys or /dev", 1, remove_file},
    CommonVerb{
        "fail", "PATH OPERATION WHAT [COUNT]",
        "makes accesses fail until healed, or COUNT times. PATH is a shell pattern; OPERATION: "
        "open, read, write, ioctl (or one request, as ioctl:0x541f), list, follow (a link), find "
        "(the name is not seen) or any; WHAT: an error name (EIO), delay:MS (not for follow and "
        "find) or, for read, write and any, empty or short:BYTES",
        3, add_fault},
    CommonVerb{"heal", "[PATH]", "ends the faults of a pattern, or all", 0, heal},
    CommonVerb{"faults", "", "lists the faults in force", 0, list_faults},
    CommonVerb{
        "record", "[--clear] [PATH]",
        "prints the accesses so far, in order: microseconds, process, operation, path, result, "
        "data; only those of a path pattern, and forgets all with --clear",
        0, show_record},
    CommonVerb{"note", "TEXT...",
               "adds a line of its own to the record, as a script that was run does", 1, note},
    CommonVerb{"help", "", "lists the commands", 0, list_commands},
};

} // namespace

void
add_common_verbs(World &world)
{
    for (const CommonVerb &verb : common_verbs)
        world.verbs.push_back({verb.name, verb.arguments, verb.help, verb.least,
                               [&world, act = verb.act](const Words &words, const Done &done) {
                                   act(world, words, done);
                               }});
}

} // namespace board
