#include "devices.h"

#include "accesses.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

namespace board {

namespace {

/* The group of the kernel's event socket on which udev passes events on to its listeners. */
constexpr unsigned udev_group = 2;

/* What udev's listeners expect before the properties; numbers for their filters are big endian. */
struct MonitorHeader {
    std::array<char, 8> prefix{'l', 'i', 'b', 'u', 'd', 'e', 'v', '\0'};
    std::uint32_t magic = htonl(0xfeedcafe);
    std::uint32_t header_size = sizeof(MonitorHeader);
    std::uint32_t properties_offset = sizeof(MonitorHeader);
    std::uint32_t properties_length = 0;
    std::uint32_t subsystem_hash = 0;
    std::uint32_t devtype_hash = 0;
    std::uint32_t tag_bloom_high = 0;
    std::uint32_t tag_bloom_low = 0;
};
static_assert(sizeof(MonitorHeader) == 40);

/* MurmurHash2 with seed 0: the listeners' filters compare it. */
std::uint32_t
murmur_hash(std::string_view text)
{
    constexpr std::uint32_t factor = 0x5bd1e995;
    auto hash = static_cast<std::uint32_t>(text.size());

    for (; text.size() >= 4; text.remove_prefix(4)) {
        std::uint32_t word = 0;
        std::memcpy(&word, text.data(), 4);
        word *= factor;
        word = (word ^ (word >> 24)) * factor;
        hash = (hash * factor) ^ word;
    }
    for (std::size_t i = text.size(); i > 0; --i)
        hash ^= static_cast<std::uint32_t>(static_cast<unsigned char>(text[i - 1]))
                << (8 * (i - 1));
    if (!text.empty())
        hash *= factor;
    hash = (hash ^ (hash >> 13)) * factor;
    return hash ^ (hash >> 15);
}

std::string
key_of(const std::string &subsystem, const std::string &name)
{
    return subsystem + "/" + name;
}

std::string
uevent_text(const Device &device)
{
    std::string text;

    if (device.major != 0)
        text += "MAJOR=" + std::to_string(device.major) +
                "\nMINOR=" + std::to_string(device.minor) + "\n";
    if (!device.node.empty())
        text += "DEVNAME=" + device.node + "\n";
    if (!device.devtype.empty())
        text += "DEVTYPE=" + device.devtype + "\n";
    if (device.ifindex != 0)
        text += "INTERFACE=" + device.name + "\nIFINDEX=" + std::to_string(device.ifindex) + "\n";
    return text;
}

/* The number that says when udev had set a device up; any non-zero one will do. */
std::string
initialized_at()
{
    return std::to_string(now_us());
}

std::shared_ptr<Node>
node_for(const Device &device)
{
    if (device.subsystem == "block")
        return std::make_shared<BlockNode>();
    return std::make_shared<PlainFile>();
}

std::string
joined(const std::vector<std::string> &words)
{
    std::string text;

    for (const std::string &word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

} // namespace

Devices::Devices(Directory &root, std::string database)
    : root_(root), database_(std::move(database)),
      socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT))
{
    /* What libudev walks even on a board without devices. */
    root_.make("sys/devices");
    root_.make("sys/class");
    root_.make("sys/bus");
}

Devices::~Devices()
{
    close(socket_);
}

bool
Devices::on_bus(const std::string &subsystem)
{
    static const std::array<const char *, 13> buses = {
        "usb",      "pci",  "i2c",    "spi",        "mmc",   "sdio", "mdio_bus",
        "platform", "scsi", "virtio", "usb-serial", "serio", "nvmem"};

    return std::find(buses.begin(), buses.end(), subsystem) != buses.end();
}

std::string
Devices::database_name(const Device &device)
{
    if (device.major != 0)
        return (device.subsystem == "block" ? "b" : "c") + std::to_string(device.major) + ":" +
               std::to_string(device.minor);
    if (device.ifindex != 0)
        return "n" + std::to_string(device.ifindex);
    return "+" + device.subsystem + ":" + device.name;
}

void
Devices::write_database(const Device &device) const
{
    std::string file = database_ + "/" + database_name(device);
    std::string text;

    for (const std::string &link : device.links)
        text += "S:" + (link.starts_with("/dev/") ? link.substr(5) : link) + "\n";
    text += "I:" + initialized_at() + "\n";
    for (const auto &[name, value] : device.properties)
        text += "E:" + name + "=" + value + "\n";
    text += "V:1\n";

    FILE *stream = std::fopen(file.c_str(), "we");
    if (stream != nullptr) {
        (void)std::fwrite(text.data(), 1, text.size(), stream);
        (void)std::fclose(stream);
    }
}

Devices::Place
Devices::place_of(const Device &device) const
{
    Place place;
    std::string parent =
        device.parent.starts_with("/sys/") ? device.parent.substr(5) : "devices/" + device.parent;

    place.on_bus = on_bus(device.subsystem);
    place.group =
        place.on_bus ? "bus/" + device.subsystem + "/devices" : "class/" + device.subsystem;
    place.above = std::dynamic_pointer_cast<Directory>(root_.resolve("sys/" + parent));
    if (!place.above)
        place.above = root_.make("sys/" + parent);
    auto in_class = std::dynamic_pointer_cast<Link>(place.above->find("subsystem"));
    place.direct =
        place.on_bus || (in_class && in_class->target().ends_with("/" + device.subsystem));
    return place;
}

std::shared_ptr<Directory>
Devices::make_folder(Device &device) const
{
    const Place place = place_of(device);
    auto folder = std::make_shared<Directory>();
    std::string up;

    folder->set_alias("/sys/" + place.group + "/" + device.name);
    auto home = place.direct ? place.above : place.above->make(device.subsystem);
    home->add(device.name, folder);
    device.path = folder->path().substr(4);

    for (auto depth = std::count(device.path.begin(), device.path.end(), '/'); depth > 0; --depth)
        up += "../";
    root_.put("sys/" + place.group + "/" + device.name,
              std::make_shared<Link>((place.on_bus ? "../../.." : "../..") + device.path));
    folder->add("subsystem",
                std::make_shared<Link>(up + (place.on_bus ? "bus/" : "class/") + device.subsystem));
    if (!place.on_bus && place.above->find("uevent"))
        folder->add("device", std::make_shared<Link>(place.direct ? ".." : "../.."));
    return folder;
}

void
Devices::add_attributes(Directory &folder, const Device &device)
{
    const std::string uevent = uevent_text(device);

    if (device.major != 0)
        folder.put_text("dev", std::to_string(device.major) + ":" + std::to_string(device.minor));
    if (device.ifindex != 0)
        folder.put_text("ifindex", std::to_string(device.ifindex));
    folder.add("uevent",
               std::make_shared<Attribute>(
                   [uevent](std::string &text) {
                       text = uevent;
                       return 0;
                   },
                   [this, subsystem = device.subsystem, name = device.name](std::string_view text) {
                       if (text.ends_with('\n'))
                           text.remove_suffix(1);
                       announce(std::string(text), subsystem, name);
                       return 0;
                   }));
    for (const auto &[name, value] : device.attributes)
        folder.put_text(name, value);
}

void
Devices::add_node(const Device &device) const
{
    if (device.node.empty())
        return;
    for (const std::string &link : device.links)
        root_.put(link, std::make_shared<Link>("/dev/" + device.node));
    /* A kind that serves the node has put its own file there. */
    if (root_.resolve("dev/" + device.node) == nullptr)
        root_.put("dev/" + device.node, node_for(device));
}

std::shared_ptr<Directory>
Devices::add(Device device)
{
    const std::string key = key_of(device.subsystem, device.name);

    if (devices_.contains(key))
        return nullptr;
    auto folder = make_folder(device);
    add_attributes(*folder, device);
    add_node(device);
    write_database(device);
    const Device &added = devices_[key] = std::move(device);
    if (!added.quiet)
        send("add", added);
    return folder;
}

bool
Devices::remove(const std::string &subsystem, const std::string &name)
{
    auto found = devices_.find(key_of(subsystem, name));

    if (found == devices_.end())
        return false;
    /* As in the kernel, what hangs below a device goes first. */
    std::string below = found->second.path + "/";
    for (auto child = devices_.begin(); child != devices_.end();) {
        if (child->second.path.starts_with(below)) {
            remove(std::string(child->second.subsystem), std::string(child->second.name));
            child = devices_.begin();
        } else {
            ++child;
        }
    }
    found = devices_.find(key_of(subsystem, name));
    Device device = std::move(found->second);
    devices_.erase(found);
    root_.drop("sys" + device.path);
    root_.drop("sys/" +
               (on_bus(subsystem) ? "bus/" + subsystem + "/devices/" : "class/" + subsystem + "/") +
               name);
    if (!device.node.empty())
        root_.drop("dev/" + device.node);
    for (const std::string &link : device.links)
        root_.drop(link);
    send("remove", device);
    (void)unlink((database_ + "/" + database_name(device)).c_str());
    return true;
}

bool
Devices::announce(const std::string &action, const std::string &subsystem, const std::string &name,
                  const std::map<std::string, std::string> &properties)
{
    auto found = devices_.find(key_of(subsystem, name));

    if (found == devices_.end())
        return false;
    for (const auto &[property, value] : properties)
        found->second.properties[property] = value;
    write_database(found->second);
    send(action, found->second);
    return true;
}

const Device *
Devices::find(const std::string &subsystem, const std::string &name) const
{
    auto found = devices_.find(key_of(subsystem, name));
    return found == devices_.end() ? nullptr : &found->second;
}

std::shared_ptr<Directory>
Devices::folder(const std::string &subsystem, const std::string &name) const
{
    const Device *device = find(subsystem, name);

    return device == nullptr
               ? nullptr
               : std::dynamic_pointer_cast<Directory>(root_.resolve("sys" + device->path));
}

void
Devices::send(const std::string &action, const Device &device) const
{
    static unsigned long sequence = 1000;
    std::string properties;
    auto add = [&properties](std::string_view name, const std::string &value) {
        properties.append(name).append("=").append(value).push_back('\0');
    };

    add("ACTION", action);
    add("DEVPATH", device.path);
    add("SUBSYSTEM", device.subsystem);
    add("SEQNUM", std::to_string(++sequence));
    add("USEC_INITIALIZED", initialized_at());
    if (device.major != 0) {
        add("MAJOR", std::to_string(device.major));
        add("MINOR", std::to_string(device.minor));
    }
    if (!device.node.empty())
        add("DEVNAME", "/dev/" + device.node);
    if (!device.devtype.empty())
        add("DEVTYPE", device.devtype);
    if (device.ifindex != 0) {
        add("INTERFACE", device.name);
        add("IFINDEX", std::to_string(device.ifindex));
    }
    if (!device.links.empty())
        add("DEVLINKS", joined(device.links));
    for (const auto &[name, value] : device.properties)
        add(name, value);

    MonitorHeader header;
    header.properties_length = static_cast<std::uint32_t>(properties.size());
    header.subsystem_hash = htonl(murmur_hash(device.subsystem));
    if (!device.devtype.empty())
        header.devtype_hash = htonl(murmur_hash(device.devtype));

    sockaddr_nl listeners{};
    listeners.nl_family = AF_NETLINK;
    listeners.nl_groups = udev_group;
    std::array<iovec, 2> parts{{{&header, sizeof header}, {properties.data(), properties.size()}}};
    msghdr message{};
    message.msg_name = &listeners;
    message.msg_namelen = sizeof listeners;
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    /* Nobody listening is no error. */
    (void)sendmsg(socket_, &message, 0);
}

} // namespace board
