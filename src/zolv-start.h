#pragma once

#include <initializer_list>

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

} // namespace zolv
