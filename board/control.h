#pragma once

#include "verbs.h"

#include <string>
#include <sys/types.h>

namespace board {

/* The commands over a Unix socket: the words, each ended by a zero byte, then the end of the
 * stream; back comes "+" or "-" and the text. */
class Control {
  public:
    Control(World &world, const std::string &path);
    Control(const Control &) = delete;
    Control &operator=(const Control &) = delete;
    ~Control();

  private:
    void accept_one();
    void answer(int fd, const std::string &request);

    World &world_;
    std::string path_;
    int socket_ = -1;
};

/* The other side: prints the text and returns an exit status. */
int ask(const std::string &path, const Words &words);
/* The process that serves the socket, as the caller's /proc numbers it. */
pid_t server_of(const std::string &path);

} // namespace board
