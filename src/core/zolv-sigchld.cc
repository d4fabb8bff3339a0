#include "core/zolv-sigchld.h"

#include <csignal>
#include <mutex>

namespace {

std::mutex mutex;
unsigned users = 0;
struct sigaction previous;

} // namespace

zolv::WaitableChildren::WaitableChildren()
{
    const std::lock_guard lock(mutex);

    if (users++ > 0)
        return;
    sigaction(SIGCHLD, nullptr, &previous);
    if (previous.sa_handler == SIG_IGN) {
        struct sigaction standard = {};
        standard.sa_handler = SIG_DFL;
        sigaction(SIGCHLD, &standard, nullptr);
    }
}

zolv::WaitableChildren::~WaitableChildren()
{
    const std::lock_guard lock(mutex);

    if (--users > 0 || previous.sa_handler != SIG_IGN)
        return;
    struct sigaction present = {};
    sigaction(SIGCHLD, nullptr, &present);
    if (present.sa_handler == SIG_DFL)
        sigaction(SIGCHLD, &previous, nullptr);
}
