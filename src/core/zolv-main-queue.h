#pragma once

#include <functional>

namespace zolv {

/*
 * What a thread hands to the main loop: signals and property changes of one object, which run in
 * the order in which they were posted. All of them wait in one queue under a lock of the standard
 * library; GLib only wakes the reader, so ThreadSanitizer sees how the threads are ordered. An
 * owner that goes takes its waiting jobs with it. Its threads must have ended before.
 */
class MainJobs {
  public:
    using Job = std::function<void()>;

    MainJobs() = default;
    MainJobs(const MainJobs &) = delete;
    MainJobs &operator=(const MainJobs &) = delete;
    ~MainJobs() { cancel(); }

    /* From any thread: has the main loop run @job soon. */
    void post(Job job);
    /* Main loop: forgets the jobs that have not run. */
    void cancel();
};

} // namespace zolv
