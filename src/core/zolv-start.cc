#include "core/zolv-start.h"

#include "core/zolv-raii.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

/* What the program inherits, prepared before the fork: nothing is allocated behind it. */
class Inheritance {
  public:
    Inheritance()
    {
        sigset_t signals;

        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&attributes, &signals);
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes, &signals);
    }
    ~Inheritance()
    {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    Inheritance(const Inheritance &) = delete;
    Inheritance &operator=(const Inheritance &) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

/* @arguments is preceded by the shell, for a file that the kernel does not know how to run. */
int
start(const Inheritance &inheritance, char *const *arguments)
{
    const auto spawn = [&](char *const *vector) {
        return posix_spawn(nullptr, vector[0], &inheritance.actions, &inheritance.attributes,
                           vector, environ);
    };
    const int error = spawn(arguments + 1);

    return error == ENOEXEC ? spawn(arguments) : error;
}

} // namespace

int
zolv::start_program(std::initializer_list<const char *> arguments)
{
    return StartingProgram(arguments).finish();
}

zolv::StartingProgram::StartingProgram(std::initializer_list<const char *> arguments)
{
    const Inheritance inheritance;
    std::vector<char *> vector{const_cast<char *>("/bin/sh")};
    std::array<int, 2> ends{};

    for (const char *argument : arguments)
        vector.push_back(const_cast<char *>(argument));
    vector.push_back(nullptr);
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        error_ = errno;
        return;
    }
    report_.reset(ends[0]);
    const UniqueFd write_end(ends[1]);

    /* The child ends at once and leaves the program to init. */
    child_ = fork();
    if (child_ < 0) {
        error_ = errno;
        report_.reset();
    }
    if (child_ == 0) {
        const int error = start(inheritance, vector.data());
        _exit(write(write_end.get(), &error, sizeof error) == sizeof error ? 0 : 1);
    }
}

int
zolv::StartingProgram::finish()
{
    if (!report_)
        return error_;
    if (TEMP_FAILURE_RETRY(read(report_.get(), &error_, sizeof error_)) != sizeof error_)
        error_ = ECHILD;
    report_.reset();
    /* Where SIGCHLD is ignored this waits for the end and learns nothing. */
    TEMP_FAILURE_RETRY(waitpid(child_, nullptr, 0));
    return error_;
}
