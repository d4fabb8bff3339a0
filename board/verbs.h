#pragma once

#include "devices.h"
#include "file-server.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace board {

using Words = std::vector<std::string>;

/* A command that cannot be done; its text goes to whoever asked. */
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* Called once with what the command prints; a command that waits keeps it. */
using Done = std::function<void(std::string text)>;

struct Verb {
    std::string name;
    std::string arguments;
    std::string help;
    std::size_t least; /* how many arguments it needs */
    std::function<void(const Words &, Done)> act;
};

/* What the kinds of devices build on. */
struct World {
    Loop loop;
    Record record;
    Faults faults;
    FileServer files{loop, record, faults};
    Devices devices{files.root(), "/run/udev/data"};
    std::string directory;
    std::vector<Verb> verbs;

    void act(const Words &words, const Done &done);
    /* Runs the commands of a board file, one per line. */
    void read_board(const std::string &path);
};

/* Numbers in commands are decimal, or hexadecimal with 0x. */
long long number(const std::string &word);
/* NAME=VALUE words from @first on. */
std::map<std::string, std::string> settings(const Words &words, std::size_t first);
/* @path, which must be below /sys or /dev. */
std::string simulated(const std::string &path);

/* Each kind of device: one file, one line here and one in verbs.cc. */
void add_common_verbs(World &);
void add_gpio(World &);
void add_led(World &);
void add_pwm(World &);
void add_input(World &);
void add_i2c(World &);
void add_mtd(World &);
void add_serial(World &);
void add_can(World &);
void add_boot_environment(World &);
void add_settings(World &);
void add_uinput(World &);
void add_waits(World &);

} // namespace board
