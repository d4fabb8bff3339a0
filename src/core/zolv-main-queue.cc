#include "core/zolv-main-queue.h"

#include <algorithm>
#include <deque>
#include <glib.h>
#include <iterator>
#include <mutex>
#include <utility>

namespace {

struct Entry {
    const zolv::MainJobs *owner;
    zolv::MainJobs::Job job;
};

std::mutex mutex;
std::deque<Entry> queue;
/* Whether the main loop was told of the entries. */
bool announced = false;

/* How many jobs run before the main loop looks at its other sources. */
constexpr int max_batch = 64;

/* Takes one job at a time: a job may cancel those behind it. */
bool
run_next()
{
    std::unique_lock lock(mutex);

    if (queue.empty()) {
        announced = false;
        return false;
    }
    const zolv::MainJobs::Job job = std::move(queue.front().job);
    queue.pop_front();
    lock.unlock();
    job();
    return true;
}

gboolean
run_jobs(gpointer)
{
    for (int i = 0; i < max_batch; i++)
        if (!run_next())
            return G_SOURCE_REMOVE;
    return G_SOURCE_CONTINUE;
}

} // namespace

void
zolv::MainJobs::post(Job job)
{
    const std::lock_guard lock(mutex);

    queue.push_back({this, std::move(job)});
    if (!std::exchange(announced, true))
        g_idle_add_full(G_PRIORITY_DEFAULT, run_jobs, nullptr, nullptr);
}

void
zolv::MainJobs::cancel()
{
    std::deque<Entry> cancelled;

    /* The jobs end outside the lock: one may hold the last reference to another owner. */
    const std::lock_guard lock(mutex);
    const auto first = std::stable_partition(
        queue.begin(), queue.end(), [this](const Entry &entry) { return entry.owner != this; });
    std::move(first, queue.end(), std::back_inserter(cancelled));
    queue.erase(first, queue.end());
}
