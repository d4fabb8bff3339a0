#include "zolv-worker.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

/* pthread_setname_np() refuses a longer name, terminator not counted. */
constexpr std::size_t max_name_length = 15;

/* Started workers; only the main loop touches them. */
std::vector<zolv::Worker *> workers;

} // namespace

gpointer
zolv::Worker::run(gpointer data)
{
    auto *self = static_cast<Worker *>(data);

    self->body_(*self);
    return nullptr;
}

void
zolv::Worker::start(const char *name, Body body, Wake wake)
{
    if (thread_ != nullptr)
        return;
    body_ = std::move(body);
    wake_ = std::move(wake);
    /* Set before the thread first looks at it. */
    running_.store(true, std::memory_order_release);
    thread_ = g_thread_new(std::string(name).substr(0, max_name_length).c_str(), run, this);
    workers.push_back(this);
}

void
zolv::Worker::request_stop()
{
    {
        const std::lock_guard lock(mutex_);
        running_.store(false, std::memory_order_release);
    }
    changed_.notify_all();
    if (wake_)
        wake_();
}

void
zolv::Worker::stop()
{
    if (thread_ == nullptr)
        return;
    request_stop();
    g_thread_join(std::exchange(thread_, nullptr));
    std::erase(workers, this);
    body_ = nullptr;
    wake_ = nullptr;
}

bool
zolv::Worker::sleep_for(std::chrono::microseconds duration)
{
    std::unique_lock lock(mutex_);

    changed_.wait_for(lock, duration, [this] { return !running(); });
    return running();
}

void
zolv::Worker::request_stop_all()
{
    for (Worker *worker : workers)
        worker->request_stop();
}
