#pragma once

namespace zolv {

/* The daemon ignores SIGCHLD, and children inherit that: while it is ignored nobody learns how a
 * child ended, neither we nor the programs that a script starts. For the life of this object the
 * signal has its default disposition; it is put back when the last of them, in any thread, goes.
 * A handler that somebody installed stays. */
class WaitableChildren {
  public:
    WaitableChildren();
    ~WaitableChildren();
    WaitableChildren(const WaitableChildren &) = delete;
    WaitableChildren &operator=(const WaitableChildren &) = delete;
};

} // namespace zolv
