/* Input event devices as the kernel's evdev serves them: each reader has a queue of its own that
 * it sees up to the last report; a queue that overflows is dropped and says so. */

#include "verbs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <linux/input.h>
#include <list>
#include <memory>
#include <poll.h>
#include <set>
#include <sys/stat.h>
#include <time.h>

namespace board {

namespace {

/* Events that a reader may leave unread, as the kernel grants a simple device. */
constexpr std::size_t queue_limit = 64;

class EventNode : public File {
  public:
    struct Waiting {
        std::size_t size;
        Answer answer;
    };
    struct Open : OpenFile {
        std::deque<input_event> queue;
        std::size_t reported = 0; /* how many of them are complete: a report has ended them */
        std::list<Waiting> waiting;
    };

    mode_t mode() const override { return S_IFREG | 0660; }

    std::unique_ptr<OpenFile> open(int, int &error) override
    {
        if (gone_) {
            error = ENODEV;
            return nullptr;
        }
        auto open = std::make_unique<Open>();
        opens_.insert(open.get());
        return open;
    }

    void read(OpenFile &file, std::size_t size, off_t, Answer answer) override
    {
        auto &open = static_cast<Open &>(file);

        if (gone_)
            return answer.fail(ENODEV);
        if (size < sizeof(input_event))
            return answer.fail(EINVAL);
        if (open.reported > 0)
            return answer.data(take(open, size));
        if ((open.flags & O_NONBLOCK) != 0)
            return answer.fail(EAGAIN);
        open.waiting.push_back({size, std::move(answer)});
        auto position = std::prev(open.waiting.end());
        position->answer.on_interrupt([this, &open, waiting = &*position] {
            if (!opens_.contains(&open))
                return;
            for (auto i = open.waiting.begin(); i != open.waiting.end(); ++i) {
                if (&*i == waiting) {
                    Answer interrupted = std::move(i->answer);
                    open.waiting.erase(i);
                    return interrupted.fail(EINTR);
                }
            }
        });
    }

    /* What programs send to the device: sounds and lights. */
    void write(OpenFile &, std::string_view bytes, off_t, Answer answer) override
    {
        if (gone_)
            return answer.fail(ENODEV);
        if (bytes.size() < sizeof(input_event))
            return answer.fail(EINVAL);
        for (std::size_t at = 0; at + sizeof(input_event) <= bytes.size();
             at += sizeof(input_event)) {
            input_event event{};
            std::memcpy(&event, bytes.data() + at, sizeof event);
            written_.push_back(event);
        }
        answer.done(bytes.size() / sizeof(input_event) * sizeof(input_event));
    }

    unsigned poll(OpenFile &file) override
    {
        return (gone_ ? POLLHUP | POLLERR : POLLOUT | POLLWRNORM) |
               (static_cast<Open &>(file).reported > 0 ? POLLIN | POLLRDNORM : 0U);
    }

    void removed() override
    {
        gone_ = true;
        for (OpenFile *file : opens_) {
            auto &open = static_cast<Open &>(*file);
            while (!open.waiting.empty()) {
                Answer answer = std::move(open.waiting.front().answer);
                open.waiting.pop_front();
                answer.fail(ENODEV);
            }
            open.wake();
        }
    }

    void send(unsigned short type, unsigned short code, int value)
    {
        timespec now{};
        input_event event{};

        if (changes_nothing(type, code, value))
            return;
        clock_gettime(CLOCK_REALTIME, &now);
        event.input_event_sec = now.tv_sec;
        event.input_event_usec = now.tv_nsec / 1000;
        event.type = type;
        event.code = code;
        event.value = value;
        for (OpenFile *file : opens_)
            deliver(static_cast<Open &>(*file), event);
    }

    const std::vector<input_event> &written() const { return written_; }

  private:
    /* What the kernel's input core does not pass on: a key that is so already, a report of nothing.
     * A value of 2 is a repeat. */
    bool changes_nothing(unsigned short type, unsigned short code, int value)
    {
        bool report = type == EV_SYN && code == SYN_REPORT;
        bool nothing = report && unreported_ == 0;

        if (type == EV_KEY && value != 2)
            nothing = value != 0 ? !down_.insert(code).second : down_.erase(code) == 0;
        if (!nothing)
            unreported_ = report ? 0 : unreported_ + 1;
        return nothing;
    }

    static std::string_view take(Open &open, std::size_t size)
    {
        std::size_t count = std::min(size / sizeof(input_event), open.reported);

        open.content.clear();
        for (std::size_t i = 0; i < count; ++i) {
            open.content.append(reinterpret_cast<const char *>(&open.queue.front()),
                                sizeof(input_event));
            open.queue.pop_front();
        }
        open.reported -= count;
        return open.content;
    }

    static void deliver(Open &open, const input_event &event)
    {
        open.queue.push_back(event);
        if (open.queue.size() >= queue_limit) {
            input_event dropped = event;
            dropped.type = EV_SYN;
            dropped.code = SYN_DROPPED;
            dropped.value = 0;
            open.queue = {dropped, event};
            open.reported = 0;
        }
        if (event.type != EV_SYN || event.code != SYN_REPORT)
            return;
        open.reported = open.queue.size();
        if (!open.waiting.empty()) {
            Waiting waiting = std::move(open.waiting.front());
            open.waiting.pop_front();
            waiting.answer.data(take(open, waiting.size));
        }
        open.wake();
    }

    bool gone_ = false;
    std::set<unsigned short> down_; /* keys */
    unsigned unreported_ = 0;       /* events since the last report */
    std::vector<input_event> written_;
};

struct Key {
    std::string device;
    unsigned short code;
};

struct Inputs {
    std::map<std::string, std::shared_ptr<EventNode>> nodes; /* by device name */
    std::map<std::string, std::string> events;               /* eventN by device name */
    std::map<std::string, Key> keys;                         /* by the name on the button */
    int next = 0;

    EventNode &node(const std::string &device)
    {
        auto found = nodes.find(device);
        if (found == nodes.end())
            throw Refusal("there is no input device " + device);
        return *found->second;
    }

    void key(const std::string &name, int value)
    {
        auto found = keys.find(name);
        if (found == keys.end())
            throw Refusal("there is no button " + name);
        EventNode &pressed = node(found->second.device);
        pressed.send(EV_KEY, found->second.code, value);
        pressed.send(EV_SYN, SYN_REPORT, 0);
    }
};

/* An input device and its event node: two devices of class input, one below the other. */
void
add_device(World &world, Inputs &inputs, const Words &words)
{
    const std::string &name = words[1];
    auto keys = settings(words, 2);
    std::string event = "event" + std::to_string(inputs.next);

    if (auto wanted = keys.find("event"); wanted != keys.end()) {
        event = "event" + wanted->second;
        keys.erase(wanted);
    }
    if (inputs.nodes.contains(name))
        throw Refusal("there is already an input device " + name);
    if (world.devices.find("input", event) != nullptr)
        throw Refusal("there is already an " + event);
    std::string index = event.substr(5);
    inputs.next = std::max(inputs.next, static_cast<int>(number(index)) + 1);

    Device input;
    input.subsystem = "input";
    input.name = "input" + index;
    input.parent = "platform/" + name;
    input.attributes = {{"name", name}};
    input.properties = {{"NAME", "\"" + name + "\""}, {"ID_INPUT", "1"}};
    auto folder = world.devices.add(input);
    if (!folder)
        throw Refusal("there is already an input" + index);

    Device device;
    device.subsystem = "input";
    device.name = event;
    device.parent = folder->path();
    device.node = "input/" + event;
    device.major = 13;
    device.minor = 64 + static_cast<unsigned>(number(index));
    device.properties = {{"ID_INPUT", "1"}, {"ID_PATH", "platform-" + name}};
    if (!keys.empty())
        device.properties["ID_INPUT_KEY"] = "1";
    device.links = {"/dev/input/by-path/platform-" + name + "-event"};
    auto node = std::make_shared<EventNode>();
    world.files.dev().put(device.node, node);
    world.devices.add(device);
    inputs.nodes[name] = node;
    inputs.events[name] = event;
    for (const auto &[key, code] : keys)
        inputs.keys[key] = {name, static_cast<unsigned short>(number(code))};
}

void
remove_device(World &world, Inputs &inputs, const std::string &name)
{
    inputs.node(name);
    world.devices.remove("input", "input" + inputs.events[name].substr(5));
    inputs.nodes.erase(name);
    inputs.events.erase(name);
    std::erase_if(inputs.keys, [&name](const auto &key) { return key.second.device == name; });
}

std::chrono::microseconds
seconds(const std::string &word)
{
    try {
        return std::chrono::microseconds(static_cast<long>(std::stod(word) * 1e6));
    } catch (const std::logic_error &) {
        throw Refusal("'" + word + "' is no time in seconds");
    }
}

} // namespace

void
add_input(World &world)
{
    auto inputs = std::make_shared<Inputs>();
    auto verb = [&world](const char *name, const char *arguments, const char *help,
                         std::size_t least, std::function<void(const Words &, Done)> act) {
        world.verbs.push_back({name, arguments, help, least, std::move(act)});
    };

    verb("add-input", "NAME [event=NUMBER] [BUTTON=CODE]...",
         "adds an input device with its buttons, on /dev/input/eventNUMBER or the next free one", 1,
         [&world, inputs](const Words &words, const Done &done) {
             add_device(world, *inputs, words);
             done("");
         });
    verb("remove-input", "NAME", "removes an input device, also while it is open", 1,
         [&world, inputs](const Words &words, const Done &done) {
             remove_device(world, *inputs, words[1]);
             done("");
         });
    verb("press", "BUTTON [SECONDS]", "pushes a button and lets it go, after SECONDS or at once", 1,
         [&world, inputs](const Words &words, const Done &done) {
             inputs->key(words[1], 1);
             auto release = [inputs, button = words[1], done] {
                 if (inputs->keys.contains(button))
                     inputs->key(button, 0);
                 done("");
             };
             if (words.size() > 2)
                 world.loop.after(seconds(words[2]), release);
             else
                 release();
         });
    verb("hold", "BUTTON", "pushes a button and keeps it down", 1,
         [inputs](const Words &words, const Done &done) {
             inputs->key(words[1], 1);
             done("");
         });
    verb("release", "BUTTON", "lets a button go", 1,
         [inputs](const Words &words, const Done &done) {
             inputs->key(words[1], 0);
             done("");
         });
    verb("event", "NAME TYPE CODE VALUE", "sends one event of an input device, without a report", 4,
         [inputs](const Words &words, const Done &done) {
             inputs->node(words[1]).send(static_cast<unsigned short>(number(words[2])),
                                         static_cast<unsigned short>(number(words[3])),
                                         static_cast<int>(number(words[4])));
             done("");
         });
    verb("sounds", "NAME", "prints the events that programs wrote: type, code, value", 1,
         [inputs](const Words &words, const Done &done) {
             std::string text;
             for (const input_event &event : inputs->node(words[1]).written())
                 text += std::to_string(event.type) + " " + std::to_string(event.code) + " " +
                         std::to_string(event.value) + "\n";
             done(text);
         });
}

} // namespace board
