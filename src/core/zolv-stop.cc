#include "core/zolv-stop.h"

#include "core/zolv-worker.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <glib-unix.h>
#include <semaphore.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

struct Signal {
    int number;
    std::atomic<bool> arrived = false;
    bool told = false;
};
std::array<Signal, 2> signals = {{{SIGTERM}, {SIGINT}}};

/* Both wake the main thread: from a pause, and from the wait of its loop. */
struct Arrived {
    Arrived() { sem_init(&semaphore, 0, 0); }
    sem_t semaphore{};
} arrived;
int arrived_fd = -1;
void (*on_termination)();

thread_local int unfinished;

/* GLib's own handler wakes main loops alone. Nothing here may allocate or lock. */
void
handle_signal(int number)
{
    const int saved_errno = errno;

    for (Signal &signal : signals)
        if (signal.number == number)
            signal.arrived.store(true, std::memory_order_release);
    sem_post(&arrived.semaphore);
    (void)eventfd_write(arrived_fd, 1);
    errno = saved_errno;
}

gboolean
tell(gint fd, GIOCondition, gpointer)
{
    eventfd_t count = 0;

    (void)eventfd_read(fd, &count);
    for (Signal &signal : signals) {
        if (signal.told || !signal.arrived.load(std::memory_order_acquire))
            continue;
        signal.told = true;
        ::signal(signal.number, SIG_DFL);
        on_termination();
    }
    return G_SOURCE_CONTINUE;
}

timespec
deadline_in(nanoseconds duration)
{
    const nanoseconds until = std::chrono::steady_clock::now().time_since_epoch() + duration;
    timespec deadline{};

    deadline.tv_sec = until / 1s;
    deadline.tv_nsec = (until % 1s).count();
    return deadline;
}

void
sleep_whole(nanoseconds duration)
{
    const timespec deadline = deadline_in(duration);

    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR)
        ;
}

bool
termination_arrived()
{
    bool any = false;

    for (const Signal &signal : signals)
        any = any || signal.arrived.load(std::memory_order_acquire);
    return any;
}

/* A signal that came before has left the semaphore raised, and the flag with it. */
bool
sleep_until_termination(nanoseconds duration)
{
    const timespec deadline = deadline_in(duration);

    while (!termination_arrived() &&
           sem_clockwait(&arrived.semaphore, CLOCK_MONOTONIC, &deadline) != 0 && errno == EINTR)
        ;
    return !termination_arrived();
}

} // namespace

void
zolv::catch_termination(void (*callback)())
{
    struct sigaction action {};

    on_termination = callback;
    arrived_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    g_unix_fd_add(arrived_fd, G_IO_IN, tell, nullptr);
    action.sa_handler = handle_signal;
    action.sa_flags = SA_RESTART;
    for (const Signal &signal : signals)
        sigaction(signal.number, &action, nullptr);
}

bool
zolv::stop_requested()
{
    const Worker *worker = Worker::current();

    return worker != nullptr ? !worker->running() : termination_arrived();
}

bool
zolv::pause(std::chrono::milliseconds duration)
{
    Worker *worker = Worker::current();

    if (unfinished > 0) {
        sleep_whole(duration);
        return true;
    }
    return worker != nullptr ? worker->sleep_for(duration) : sleep_until_termination(duration);
}

zolv::FinishFirst::FinishFirst()
{
    ++unfinished;
}

zolv::FinishFirst::~FinishFirst()
{
    --unfinished;
}
