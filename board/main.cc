/* tarvelperimond-board: a simulated board in namespaces of its own, and its commands. */

#include "control.h"
#include "space.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace board {

namespace {

namespace fs = std::filesystem;

constexpr const char *usage = R"(Usage:
  tarvelperimond-board run [OPTION]... [-- PROGRAM...]
      starts a board in namespaces of its own; with a program, runs it there and ends with it,
      else prints "ready" and stays until it is told to end (SIGTERM)
      --world DIR     where the board keeps its files and sockets; made when it is missing
      --board FILE    commands that build the board, one per line; the default board else
      --policy PATH   a bus policy file, or a folder of them; without, root may do everything
      --env NAME=VALUE  a variable of the boot environment
  tarvelperimond-board [--world DIR] exec [--pidfile FILE] PROGRAM...
      runs a program on the board
  tarvelperimond-board [--world DIR] COMMAND [WORD]...
      acts on the board; "help" lists the commands
Inside a board, and with TARVELPERIMOND_BOARD set, --world can be left out.
)";

struct Options {
    std::string world;
    std::vector<std::string> boards;
    std::vector<std::string> policies;
    Words environment;
    std::string pidfile;
    Words rest; /* the command and its words, or the program */
};

/* Options come before the first word that is none. */
void
parse(const Words &words, std::size_t first, Options &options)
{
    std::size_t i = first;

    while (i < words.size() && words[i].starts_with("--")) {
        const std::string &name = words[i++];
        if (name == "--")
            break;
        if (i == words.size())
            throw Refusal(name + " needs a value");
        const std::string &value = words[i++];
        if (name == "--world")
            options.world = value;
        else if (name == "--board")
            options.boards.push_back(value);
        else if (name == "--policy")
            options.policies.push_back(fs::absolute(value));
        else if (name == "--env")
            options.environment.push_back(value);
        else if (name == "--pidfile")
            options.pidfile = value;
        else
            throw Refusal("unknown option " + name);
    }
    options.rest.assign(words.begin() + static_cast<long>(i), words.end());
}

std::string
bus_configuration(const Options &options)
{
    std::string text =
        "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration "
        "1.0//EN\" \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
        "<busconfig>\n<type>system</type>\n<listen>unix:path=";

    text += options.world + "/bus</listen>\n" +
            "<listen>unix:path=/run/dbus/system_bus_socket</listen>\n<auth>EXTERNAL</auth>\n"
            "<policy context=\"default\">\n"
            "<allow user=\"*\"/>\n<deny own=\"*\"/>\n<deny send_type=\"method_call\"/>\n"
            "<allow send_type=\"signal\"/>\n"
            "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>\n"
            "<allow send_requested_reply=\"true\" send_type=\"error\"/>\n"
            "<allow receive_type=\"method_call\"/>\n<allow receive_type=\"method_return\"/>\n"
            "<allow receive_type=\"error\"/>\n<allow receive_type=\"signal\"/>\n"
            "<allow send_destination=\"org.freedesktop.DBus\"/>\n</policy>\n";
    if (options.policies.empty())
        text += "<policy user=\"root\"><allow own=\"*\"/><allow send_type=\"method_call\"/>"
                "</policy>\n";
    for (const std::string &policy : options.policies) {
        std::string tag = fs::is_directory(policy) ? "includedir" : "include";
        text += "<" + tag + ">" + policy + "</" + tag + ">\n";
    }
    /* No limits of its own: those of the system bus are the bus daemon's defaults, and a bus that
     * allows more would hide what a service can stand. */
    return text + "</busconfig>\n";
}

void
prepare_directory(Options &options)
{
    if (options.world.empty())
        throw Refusal("--world DIR is missing");
    fs::create_directories(options.world);
    options.world = fs::canonical(options.world);
    for (const char *covered :
         {"/etc/", "/run/", "/dev/", "/sys/", "/proc/", "/usr/lib/", "/usr/sbin/", "/media/"}) {
        if ((options.world + "/").starts_with(covered))
            throw Refusal("a world cannot be below " + std::string(covered));
    }
    for (const char *name : {"stage", "tarvel/TarvelPerimond/button-scripts",
                             "tarvel/TarvelPerimond/dio-scripts", "plugins"})
        fs::create_directories(options.world + "/" + name);
    for (const char *name : {"control", "bus"})
        fs::remove(options.world + "/" + name);
    std::ofstream(options.world + "/bus.conf") << bus_configuration(options);
    if (options.boards.empty())
        options.boards.push_back(own_file("perimond-sim.board", BOARD_DIR));
    for (std::string &file : options.boards)
        file = fs::absolute(file);
}

/* Starts a child that ends with its parent. */
template <typename Body>
pid_t
start(Body body)
{
    pid_t pid = fork();

    if (pid < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (pid == 0) {
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            body();
            std::fflush(nullptr);
            _exit(0);
        } catch (const std::exception &error) {
            std::cerr << "tarvelperimond-board: " << error.what() << std::endl;
            _exit(125);
        }
    }
    return pid;
}

int
exit_status(int status)
{
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void
make_dev(Directory &dev)
{
    for (const char *name : {"null", "zero", "full", "random", "urandom", "tty"})
        dev.put(name, std::make_shared<PlainFile>());
    for (const char *name : {"pts", "shm", "input"})
        dev.make(name);
    dev.put("ptmx", std::make_shared<Link>("pts/ptmx"));
    dev.put("fd", std::make_shared<Link>("/proc/self/fd"));
    dev.put("stdin", std::make_shared<Link>("/proc/self/fd/0"));
    dev.put("stdout", std::make_shared<Link>("/proc/self/fd/1"));
    dev.put("stderr", std::make_shared<Link>("/proc/self/fd/2"));
}

/* The first process of the board: serves the files and the commands, reaps, ends everything. */
class Server {
  public:
    explicit Server(const Options &options) : options_(options) {}
    int run();

  private:
    void child_ended(pid_t pid, int status);
    void signal_arrived(int fd);
    void build_board();
    void start_bus();
    void ready();
    void stop(int status)
    {
        status_ = status;
        world_.loop.quit();
    }

    const Options &options_;
    World world_;
    std::unique_ptr<Control> control_;
    pid_t arranger_ = -1;
    pid_t bus_ = -1;
    pid_t command_ = -1;
    int status_ = 0;
};

int
Server::run()
{
    sigset_t handled;

    sigemptyset(&handled);
    for (int number : {SIGCHLD, SIGTERM, SIGINT, SIGHUP})
        sigaddset(&handled, number);
    sigprocmask(SIG_BLOCK, &handled, nullptr);
    (void)signal(SIGPIPE, SIG_IGN);
    int signals = signalfd(-1, &handled, SFD_CLOEXEC);
    world_.loop.watch(signals, [this, signals] { signal_arrived(signals); });

    raise_loopback();
    world_.directory = options_.world;
    std::string files = prepare_mounts(options_.world);
    make_dev(world_.files.dev());
    if (!world_.files.mount(files))
        throw std::system_error(errno, std::generic_category(), "/dev/fuse");
    /* Looking at the files needs this process to serve them, so another one does that. */
    arranger_ = start([this] { arrange_mounts(options_.world); });
    world_.loop.run();
    control_.reset();
    return status_;
}

void
Server::signal_arrived(int fd)
{
    signalfd_siginfo info{};

    if (read(fd, &info, sizeof info) != sizeof info)
        return;
    if (info.ssi_signo != SIGCHLD)
        return stop(command_ > 0 ? 128 + static_cast<int>(info.ssi_signo) : 0);
    int status = 0;
    for (pid_t pid = 0; (pid = waitpid(-1, &status, WNOHANG)) > 0;)
        child_ended(pid, status);
}

void
Server::child_ended(pid_t pid, int status)
{
    if (pid == command_)
        return stop(exit_status(status));
    if (pid == arranger_) {
        if (status != 0)
            return stop(125);
        try {
            build_board();
            start_bus();
        } catch (const std::exception &error) {
            std::cerr << "tarvelperimond-board: " << error.what() << std::endl;
            stop(125);
        }
    } else if (pid == bus_) {
        std::cerr << "tarvelperimond-board: the bus daemon ended" << std::endl;
        if (!control_)
            stop(125);
    }
}

void
Server::build_board()
{
    add_common_verbs(world_);
    add_gpio(world_);
    add_led(world_);
    add_pwm(world_);
    add_input(world_);
    add_i2c(world_);
    add_mtd(world_);
    add_serial(world_);
    add_can(world_);
    add_boot_environment(world_);
    add_settings(world_);
    add_uinput(world_);
    add_waits(world_);
    for (const std::string &file : options_.boards)
        world_.read_board(file);
    for (const std::string &variable : options_.environment) {
        std::size_t equal = variable.find('=');
        if (equal == std::string::npos)
            throw Refusal("'" + variable + "' is not NAME=VALUE");
        world_.act({"env", variable.substr(0, equal), variable.substr(equal + 1)},
                   [](const std::string &) {});
    }
}

void
Server::start_bus()
{
    std::array<int, 2> ends{};

    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    bus_ = start([this, &ends] {
        int fd = fcntl(ends[1], F_DUPFD, 3);
        int log = open((options_.world + "/bus.log").c_str(),
                       O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        (void)dup2(log, STDERR_FILENO);
        execute(options_.world,
                {"dbus-daemon", "--config-file=" + options_.world + "/bus.conf", "--nofork",
                 "--nopidfile", "--print-address=" + std::to_string(fd)});
    });
    close(ends[1]);
    world_.loop.watch(ends[0], [this, fd = ends[0]] {
        std::array<char, 512> address{};
        bool started = read(fd, address.data(), address.size()) > 0;
        world_.loop.unwatch(fd);
        close(fd);
        if (started)
            ready();
        else
            stop(125);
    });
}

void
Server::ready()
{
    control_ = std::make_unique<Control>(world_, options_.world + "/control");
    world_.record.clear();
    if (options_.rest.empty()) {
        std::cout << "ready" << std::endl;
        return;
    }
    command_ = start([this] { execute(options_.world, options_.rest); });
}

/* Waits for @child, to which it passes signals on, and returns its wait status. */
int
wait_for(pid_t child)
{
    sigset_t handled;
    int status = 0;

    sigfillset(&handled);
    for (;;) {
        siginfo_t info{};
        int number = sigwaitinfo(&handled, &info);

        if (number == SIGCHLD) {
            if (waitpid(child, &status, WNOHANG) == child)
                return status;
        } else if (number > 0 && number != SIGTTOU && number != SIGTTIN && number != SIGTSTP) {
            (void)kill(child, number);
        }
    }
}

void
block_signals()
{
    sigset_t all;

    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, nullptr);
}

[[noreturn]] void
run_world(Options &options)
{
    prepare_directory(options);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    block_signals();
    enter_new_space();
    pid_t first = start([&options] { _exit(Server(options).run()); });
    /* Not exit(): a leak checker that runs then cannot work between two process namespaces. */
    _exit(exit_status(wait_for(first)));
}

/* Runs a program on the board and becomes what it became: the same exit status or signal. */
[[noreturn]] void
run_in_world(const Options &options, const Words &command)
{
    if (command.empty())
        throw Refusal("exec needs a program");
    join_space(server_of(options.world + "/control"));
    block_signals();
    pid_t child = start([&] { execute(options.world, command); });
    if (!options.pidfile.empty()) {
        std::ofstream(options.pidfile + ".new") << child << "\n";
        fs::rename(options.pidfile + ".new", options.pidfile);
    }
    int status = wait_for(child);
    if (WIFSIGNALED(status)) {
        sigset_t none;
        sigemptyset(&none);
        prctl(PR_SET_DUMPABLE, 0);
        (void)signal(WTERMSIG(status), SIG_DFL);
        (void)raise(WTERMSIG(status));
        sigprocmask(SIG_SETMASK, &none, nullptr);
    }
    _exit(exit_status(status)); /* not exit(), as above */
}

int
dispatch(const Words &words)
{
    Options options;
    const char *world = std::getenv("TARVELPERIMOND_BOARD");

    if (world != nullptr)
        options.world = world;
    if (words == Words{"--help"}) {
        std::cout << usage;
        return 0;
    }
    parse(words, 0, options);
    if (options.rest.empty()) {
        std::cerr << usage;
        return 2;
    }
    Words rest = options.rest;
    if (rest[0] == "run") {
        options.boards.clear();
        parse(rest, 1, options);
        run_world(options);
    }
    if (options.world.empty())
        throw Refusal("--world DIR is missing");
    options.world = fs::absolute(options.world).lexically_normal();
    if (rest[0] == "exec") {
        parse(rest, 1, options);
        run_in_world(options, options.rest);
    }
    return ask(options.world + "/control", rest);
}

} // namespace

} // namespace board

int
main(int argc, char **argv)
{
    try {
        return board::dispatch({argv + 1, argv + argc});
    } catch (const std::exception &error) {
        std::cerr << "tarvelperimond-board: " << error.what() << std::endl;
        return 125;
    }
}
