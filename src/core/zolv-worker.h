#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <glib.h>
#include <semaphore.h>

namespace zolv {

/*
 * One thread that works for an object. It is told to stop by a flag and woken from its wait at
 * once, so nobody waits out an interval. start() and stop() belong to the main loop; the destructor
 * stops. GLib's thread functions give the thread its name.
 */
class Worker {
  public:
    /* Ends the thread's own kind of wait, such as one for file descriptors. */
    using Wake = std::function<void()>;
    using Body = std::function<void(Worker &)>;

    Worker() { sem_init(&stop_requested_, 0, 0); }
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;
    ~Worker()
    {
        stop();
        sem_destroy(&stop_requested_);
    }

    /* Does nothing when the thread runs. The kernel keeps the first 15 bytes of @name. Where the
     * system has no thread left, which the log tells, it returns false. */
    bool start(const char *name, Body body, Wake wake = {});
    /* Raises the flag and ends the waits, without waiting for the thread. */
    void request_stop();
    /* Stops the thread and waits for it; it may be started again. */
    void stop();
    /* Whether the thread was started and not stopped since; its body may have ended. */
    bool started() const { return thread_ != nullptr; }

    /* For the body: whether to go on. */
    bool running() const { return running_.load(std::memory_order_acquire); }
    /* For the body: waits, and tells whether to go on. */
    bool sleep_for(std::chrono::microseconds duration);

    /* The worker whose thread asks; null on the main loop. */
    static Worker *current();

    /* Tells all threads of the process to stop, so that they end side by side. */
    static void request_stop_all();

  private:
    static gpointer run(gpointer data);

    GThread *thread_ = nullptr;
    Body body_;
    Wake wake_;
    /* A wait for it is one system call; a condition variable would need another for its mutex. */
    sem_t stop_requested_{};
    std::atomic<bool> running_ = false;
};

} // namespace zolv
