#pragma once

#include "core/zolv-raii.h"

#include <initializer_list>
#include <sys/types.h>

namespace zolv {

/*
 * Starts a program and leaves it alone: nobody waits for it, and it is no child of the daemon, so
 * it never becomes a zombie of ours, whatever the disposition of SIGCHLD. @arguments begins with
 * the program's path. The program inherits the environment, standard output and standard error,
 * and nothing else: standard input is empty, all other descriptors are closed, all signals are
 * unblocked and have their default disposition. Without a "#!" line it is run by /bin/sh.
 *
 * Any thread may call this. Returns 0 or the system's error number.
 */
int start_program(std::initializer_list<const char *> arguments);

/* The same for a caller that has other things to do while the program is started. */
class StartingProgram {
  public:
    explicit StartingProgram(std::initializer_list<const char *> arguments);
    StartingProgram(const StartingProgram &) = delete;
    StartingProgram &operator=(const StartingProgram &) = delete;
    ~StartingProgram() { finish(); }

    /* Readable as soon as finish() does not block; -1 when it never does. */
    int report_fd() const { return report_.get(); }
    /* Waits for the outcome: 0 or the system's error number. */
    int finish();

  private:
    UniqueFd report_;
    pid_t child_ = -1;
    int error_ = 0;
};

} // namespace zolv
