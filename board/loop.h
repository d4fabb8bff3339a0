#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>

namespace board {

/* The one thread of the board: descriptors, timers and nothing else. */
class Loop {
  public:
    using Clock = std::chrono::steady_clock;
    using Job = std::function<void()>;

    void watch(int fd, Job ready) { watched_[fd] = std::move(ready); }
    void unwatch(int fd) { watched_.erase(fd); }
    void after(std::chrono::microseconds delay, Job job)
    {
        timers_.emplace(Clock::now() + delay, std::move(job));
    }
    void run();
    void quit() { running_ = false; }

  private:
    int run_timers();

    bool running_ = false;
    std::map<int, Job> watched_;
    std::multimap<Clock::time_point, Job> timers_;
};

} // namespace board
