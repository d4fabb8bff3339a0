#include "loop.h"

#include <poll.h>
#include <vector>

namespace board {

/* Returns how long poll() may wait, in milliseconds, rounded up so that a timer is due after it. */
int
Loop::run_timers()
{
    while (!timers_.empty()) {
        auto first = timers_.begin();
        auto left = first->first - Clock::now();

        if (left > Clock::duration::zero())
            return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count());
        Job job = std::move(first->second);
        timers_.erase(first);
        job();
    }
    return -1;
}

void
Loop::run()
{
    running_ = true;
    while (running_) {
        int timeout = run_timers();
        std::vector<pollfd> polled;

        if (!running_)
            break;
        for (const auto &[fd, job] : watched_)
            polled.push_back({fd, POLLIN, 0});
        if (::poll(polled.data(), polled.size(), timeout) <= 0)
            continue;
        for (const pollfd &entry : polled) {
            auto found = watched_.find(entry.fd);

            if (entry.revents == 0 || found == watched_.end())
                continue;
            Job job = found->second;
            job();
        }
    }
}

} // namespace board
