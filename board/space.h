#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace board {

/* The private namespaces of a world and what is mounted in them. Everything in them ends with
 * the world's first process: nothing of it is seen on the host but the world's directory. */

/* The path of a file that comes with the program: beside it in a build folder, else in the folder
 * where it is installed. */
std::string own_file(const std::string &name, const std::string &installed);

/* Enters new namespaces; an ordinary user becomes root of a user namespace. The caller's next
 * child is the first process of the world. Throws std::system_error. */
void enter_new_space();

/* In the world's first process, before the files are served: the mount point for them. */
std::string prepare_mounts(const std::string &directory);

/* In a child of it, while the files are served: puts everything in its place. */
void arrange_mounts(const std::string &directory);

void raise_loopback();

/* Joins the namespaces of process @pid, unless the caller is in them already; its next child is
 * a process of the world. */
void join_space(pid_t pid);

/* Gives up what could reach through the namespaces to the host, and runs @command. */
[[noreturn]] void execute(const std::string &directory, const std::vector<std::string> &command);

} // namespace board
