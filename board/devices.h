#pragma once

#include "tree.h"

#include <map>
#include <string>
#include <vector>

namespace board {

struct Device {
    std::string subsystem;
    std::string name;
    std::string parent = "platform/board"; /* below /sys/devices, or a whole /sys path */
    std::string devtype;
    std::string node; /* below /dev */
    unsigned major = 0;
    unsigned minor = 0;
    int ifindex = 0;
    std::map<std::string, std::string> properties; /* of the udev database */
    std::map<std::string, std::string> attributes;
    std::vector<std::string> links; /* whole /dev paths */
    bool quiet = false;             /* there from the start: no event */

    std::string path; /* /devices/..., set when it is added */
};

/* The devices of the board: their folders in /sys, their entries in the udev database, and the
 * events that tell of them, sent as udev sends them to its listeners. */
class Devices {
  public:
    Devices(Directory &root, std::string database);
    Devices(const Devices &) = delete;
    Devices &operator=(const Devices &) = delete;
    ~Devices();

    /* The folder of the new device, with uevent, subsystem and dev in place. The path that users
     * look at is the one below /sys/class or /sys/bus. Null when the device exists. */
    std::shared_ptr<Directory> add(Device device);
    bool remove(const std::string &subsystem, const std::string &name);
    bool announce(const std::string &action, const std::string &subsystem, const std::string &name,
                  const std::map<std::string, std::string> &properties = {});
    const Device *find(const std::string &subsystem, const std::string &name) const;
    std::shared_ptr<Directory> folder(const std::string &subsystem, const std::string &name) const;
    const std::map<std::string, Device> &all() const { return devices_; }

  private:
    /* Where a device lies in /sys. Classes have a folder between the device and its parent, unless
     * the parent is of the class; an event node of an input device is its direct child. */
    struct Place {
        bool on_bus = false;
        bool direct = false;
        std::string group; /* the folder of links that it is found by */
        std::shared_ptr<Directory> above;
    };

    Place place_of(const Device &device) const;
    /* Its folder with the links from and to it; sets its path. */
    std::shared_ptr<Directory> make_folder(Device &device) const;
    void add_attributes(Directory &folder, const Device &device);
    void add_node(const Device &device) const;
    static bool on_bus(const std::string &subsystem);
    static std::string database_name(const Device &device);
    void write_database(const Device &device) const;
    void send(const std::string &action, const Device &device) const;

    Directory &root_;
    std::string database_;
    int socket_;
    std::map<std::string, Device> devices_; /* by subsystem/name */
};

} // namespace board
