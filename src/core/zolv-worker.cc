#include "core/zolv-worker.h"

#include "tvl-log.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;

/* pthread_setname_np() refuses a longer name, terminator not counted. */
constexpr std::size_t max_name_length = 15;

/* Started workers; only the main loop touches them. */
std::vector<zolv::Worker *> workers;

thread_local zolv::Worker *own_worker;

} // namespace

gpointer
zolv::Worker::run(gpointer data)
{
    auto *self = static_cast<Worker *>(data);

    own_worker = self;
    self->body_(*self);
    return nullptr;
}

bool
zolv::Worker::start(const char *name, Body body, Wake wake)
{
    g_autoptr(GError) error = nullptr;

    if (thread_ != nullptr)
        return true;
    body_ = std::move(body);
    wake_ = std::move(wake);
    /* The requests that ended the last thread are not for this one. */
    while (sem_trywait(&stop_requested_) == 0)
        ;
    /* Set before the thread first looks at it. */
    running_.store(true, std::memory_order_release);
    /* Scripts without an end may use up what the service may have of processes and threads. */
    thread_ =
        g_thread_try_new(std::string(name).substr(0, max_name_length).c_str(), run, this, &error);
    if (thread_ == nullptr) {
        _tvl_log(TVL_LOG_ERROR, "[Manager] Thread '%s' not started: %s", name, error->message);
        running_.store(false, std::memory_order_release);
        return false;
    }
    workers.push_back(this);
    return true;
}

void
zolv::Worker::request_stop()
{
    running_.store(false, std::memory_order_release);
    sem_post(&stop_requested_);
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
    using std::chrono::nanoseconds;
    const auto until = std::chrono::steady_clock::now() + duration;
    const nanoseconds since_boot = until.time_since_epoch();
    timespec deadline{};

    deadline.tv_sec = since_boot / 1s;
    deadline.tv_nsec = (since_boot % 1s).count();
    while (running() && sem_clockwait(&stop_requested_, CLOCK_MONOTONIC, &deadline) != 0 &&
           errno == EINTR)
        ;
    return running();
}

zolv::Worker *
zolv::Worker::current()
{
    return own_worker;
}

void
zolv::Worker::request_stop_all()
{
    for (Worker *worker : workers)
        worker->request_stop();
}
