#include "peripherals/dio/zolv-dio-watcher.h"

#include "core/zolv-obj-log.h"
#include "core/zolv-start.h"
#include "core/zolv-text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>

namespace {

using namespace std::chrono_literals;

constexpr auto default_interval = 200ms;

/* By event; the inverted reading of the inputs makes the new value of a rising edge 0. */
struct EdgeRow {
    std::array<bool, 2> runs_at; /* by new value */
    const char *hook;            /* how the log names them */
    const char *start;
};
constexpr std::array<EdgeRow, DIO_LAST_EDGE> edges = {{
    {{false, false}, "", ""},
    {{true, false}, "DIO Hook", "rising edge spawn"},
    {{false, true}, "DIO hook", "falling spawn command"},
    {{true, true}, "DIO hook", "change spawn command"},
}};

std::chrono::milliseconds
sampling_interval()
{
    const char *text = g_getenv("DIO_SAMPLING_INTERVAL");
    const long value = text != nullptr ? std::strtol(text, nullptr, 10) : 0;

    if (value <= 0)
        return default_interval;
    return std::chrono::milliseconds(std::min<long>(value, INT_MAX));
}

/* Whether @error, as the failed reading left errno, passes by itself. */
bool
is_passing(int error)
{
    constexpr std::array passing = {EINTR, EAGAIN, EMFILE, ENFILE, ENOMEM};

    return std::find(passing.begin(), passing.end(), error) != passing.end();
}

} // namespace

void
zolv::DioWatcher::start()
{
    const std::string name = std::string(zolv_obj_get_name(ZOLV_OBJ(dio_))) + "-watcher";

    if (worker_.started())
        return; /* which reads the interval */
    interval_ = sampling_interval();
    worker_.start(name.c_str(), [this](Worker &worker) { watch(worker); });
}

void
zolv::DioWatcher::stop()
{
    worker_.stop();
    jobs_.cancel();
    active_.reset();
}

/* Whether there is a state. What fails for want of something of the daemon's own says nothing about
 * the line: it is told once, and the next sample is taken. Every other failure is the last. */
bool
zolv::DioWatcher::sample(Worker &worker, guint *state)
{
    bool told = false;

    for (;;) {
        g_autoptr(GError) error = nullptr;
        errno = 0;
        if (zolv_dio_get_state(dio_, state, &error))
            return true;
        const int cause = errno;
        if (!told || !is_passing(cause))
            zolv_obj_log(ZOLV_OBJ(dio_), TVL_LOG_ERROR, "DIO Hook GetState(%d) failed: %s%s%s",
                         static_cast<int>(*state), error->message,
                         is_passing(cause) ? ", trying again: " : "",
                         is_passing(cause) ? g_strerror(cause) : "");
        if (!is_passing(cause) || !worker.sleep_for(interval_))
            return false;
        told = true;
    }
}

void
zolv::DioWatcher::run_hook(const DioHook::Path &path, guint event, guint state)
{
    const EdgeRow &edge = edges[event];

    if (path == nullptr || !edge.runs_at[state != 0])
        return;
    if (const int code = start_program({path->c_str()}); code != 0)
        zolv_obj_log(ZOLV_OBJ(dio_), TVL_LOG_ERROR, "%s %s for %s failed: %s", edge.hook,
                     fit_text(*path).c_str(), edge.start, g_strerror(code));
}

void
zolv::DioWatcher::publish_active(bool active)
{
    if (active == active_)
        return;
    active_ = active;
    jobs_.post([this, active] { zolv_gdbus_obj_dio_set_active(skeleton_, active ? 1 : 0); });
}

void
zolv::DioWatcher::watch(Worker &worker)
{
    guint state = 0;

    if (!sample(worker, &state))
        return;
    for (guint previous = state; worker.running(); worker.sleep_for(interval_)) {
        if (!sample(worker, &state))
            return;
        /* A pass acts on one choice, whatever the main loop does meanwhile. */
        const DioHook::Path path = hook_.path();
        const guint event = hook_.event;
        if (state != previous) {
            run_hook(path, event, state);
            jobs_.post([this, state] { zolv_gdbus_obj_dio_emit_state_changed(skeleton_, state); });
            previous = state;
        }
        publish_active(event != DIO_NONE_EDGE && path != nullptr);
    }
}
