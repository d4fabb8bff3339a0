/* Serial nodes as far as programs that switch their transceivers see them: the driver's data with
 * its field `port`, the RS-485 flags, the mode of a multiport card; and register files beside them.
 * Nothing is sent or received. */

#include "verbs.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <linux/serial.h>
#include <memory>
#include <sys/ioctl.h>
#include <sys/stat.h>

namespace board {

namespace {

/* The requests of the multiport card's driver. */
constexpr unsigned set_op_mode = 0x442;
constexpr unsigned get_op_mode = 0x443;

std::string
hexadecimal(unsigned value)
{
    std::array<char, 16> text{};

    (void)std::snprintf(text.data(), text.size(), "0x%x", value);
    return text.data();
}

/* A number that programs ask for and set, in a structure of the kernel of which the rest is kept,
 * too. */
template <typename Structure, typename Number> class Keeper {
  public:
    Keeper(std::string name, unsigned get, unsigned set, Number Structure::*number)
        : name_(std::move(name)), get_(get), set_(set), number_(number)
    {
    }

    const std::string &name() const { return name_; }
    bool known = true; /* whether the driver has these requests */
    std::string text() const { return name_ + "=" + hexadecimal(value_of(kept_)); }
    void keep(long long value) { kept_.*number_ = static_cast<Number>(value); }

    /* Whether the request was one of these two; it is answered then. */
    bool answer(unsigned request, const File::Memory &memory, Answer &answer)
    {
        if (!known || (request != get_ && request != set_))
            return false;
        if (request == get_) {
            answer.result(memory.put(&kept_, sizeof kept_) ? 0 : EFAULT, 0);
            return true;
        }
        Structure wanted{};
        if (!memory.get(&wanted, sizeof wanted)) {
            answer.fail(EFAULT);
            return true;
        }
        kept_ = wanted;
        answer.tell(text());
        answer.done();
        return true;
    }

  private:
    unsigned value_of(const Structure &structure) const
    {
        return static_cast<unsigned>(structure.*number_);
    }

    std::string name_;
    unsigned get_;
    unsigned set_;
    Number Structure::*number_;
    Structure kept_{};
};

/* The card's requests move a bare number. */
struct OpMode {
    int mode = 0;
};

class SerialNode : public File {
  public:
    mode_t mode() const override { return S_IFREG | 0660; }

    /* Without a carrier a real port would wait in open() for as long as it takes. */
    std::unique_ptr<OpenFile> open(int flags, int &error) override
    {
        if (!gone_ && (flags & O_NONBLOCK) != 0)
            return std::make_unique<OpenFile>();
        error = gone_ ? ENODEV : EAGAIN;
        return nullptr;
    }

    void ioctl(OpenFile &, unsigned request, const Memory &memory, Answer answer) override
    {
        if (gone_)
            return answer.fail(EIO); /* hung up */
        if (!port_.answer(request, memory, answer) && !rs485_.answer(request, memory, answer) &&
            !mode_.answer(request, memory, answer))
            answer.fail(ENOTTY);
    }

    void removed() override { gone_ = true; }
    bool gone() const { return gone_; }

    /* Each with a blank before it. */
    std::string text() const
    {
        return (port_.known ? " " + port_.text() : "") + (rs485_.known ? " " + rs485_.text() : "") +
               (mode_.known ? " " + mode_.text() : "");
    }

    void set(const std::map<std::string, std::string> &values)
    {
        for (const auto &[name, value] : values) {
            if (name == "knows")
                know(value);
            else if (name == port_.name())
                port_.keep(board::number(value));
            else if (name == rs485_.name())
                rs485_.keep(board::number(value));
            else if (name == mode_.name())
                mode_.keep(board::number(value));
            else
                throw Refusal("a serial node has no '" + name + "'");
        }
    }

  private:
    void know(const std::string &names)
    {
        auto named = [&names](const std::string &name) {
            return ("," + names + ",").find("," + name + ",") != std::string::npos;
        };

        port_.known = named(port_.name());
        rs485_.known = named(rs485_.name());
        mode_.known = named(mode_.name());
    }

    Keeper<serial_struct, unsigned> port_{"port", TIOCGSERIAL, TIOCSSERIAL, &serial_struct::port};
    Keeper<serial_rs485, __u32> rs485_{"rs485", TIOCGRS485, TIOCSRS485, &serial_rs485::flags};
    Keeper<OpMode, int> mode_{"mode", get_op_mode, set_op_mode, &OpMode::mode};
    bool gone_ = false;
};

/* The whole nodes by their path below /dev. */
using Nodes = std::map<std::string, std::shared_ptr<SerialNode>>;

std::string
below_dev(const std::string &name)
{
    return name.starts_with("/dev/") ? name.substr(5) : name;
}

void
add_one(World &world, Nodes &nodes, const Words &words)
{
    auto node = std::make_shared<SerialNode>();
    std::string name = below_dev(words[1]);

    node->set({{"knows", "port,rs485"}});
    node->set(settings(words, 2));
    world.files.dev().put(name, node);
    nodes[name] = node;
}

std::string
show_all(const Nodes &nodes)
{
    std::string text;

    for (const auto &[name, node] : nodes) {
        if (!node->gone())
            text += name + node->text() + "\n";
    }
    return text;
}

SerialNode &
find(const Nodes &nodes, const std::string &name)
{
    auto found = nodes.find(below_dev(name));

    if (found == nodes.end() || found->second->gone())
        throw Refusal("there is no serial node " + name);
    return *found->second;
}

/* A register of the board's logic: it holds one bit, and shows whatever a command has put there. */
std::shared_ptr<Attribute>
make_register(std::string content)
{
    auto kept = std::make_shared<std::string>(std::move(content));

    return std::make_shared<Attribute>(
        [kept](std::string &text) {
            text = *kept;
            return 0;
        },
        [kept](std::string_view text) {
            if (!same_word(text, "0") && !same_word(text, "1"))
                return EINVAL;
            *kept = std::string(text.substr(0, 1)) + "\n";
            return 0;
        });
}

} // namespace

void
add_serial(World &world)
{
    auto nodes = std::make_shared<Nodes>();

    world.verbs.push_back(
        {"add-serial", "NAME [port=NUMBER] [rs485=FLAGS] [mode=NUMBER] [knows=port,rs485,mode]",
         "adds a serial node below /dev; it knows port and rs485 unless told otherwise, and takes "
         "no open() that would wait for a carrier. Plug a tty device with that node to announce it",
         1, [&world, nodes](const Words &words, const Done &done) {
             add_one(world, *nodes, words);
             done("");
         }});
    world.verbs.push_back({"serial", "[NAME [port=NUMBER] [rs485=FLAGS] [mode=NUMBER]]",
                           "prints what a serial node keeps, or all of them do; sets it", 0,
                           [nodes](const Words &words, const Done &done) {
                               if (words.size() < 2)
                                   return done(show_all(*nodes));
                               SerialNode &node = find(*nodes, words[1]);
                               node.set(settings(words, 2));
                               done(words.size() > 2 ? "" : node.text().substr(1) + "\n");
                           }});
    world.verbs.push_back(
        {"register", "PATH VALUE",
         "puts a register file below /sys or /dev that takes 0 and 1; VALUE takes C escapes and is "
         "shown as it stands",
         2, [&world](const Words &words, const Done &done) {
             world.files.root().put(simulated(words[1]), make_register(unescape(words[2])));
             done("");
         }});
}

} // namespace board
