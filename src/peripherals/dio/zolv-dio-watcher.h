#pragma once

#include "core/zolv-main-queue.h"
#include "core/zolv-worker.h"
#include "peripherals/dio/zolv-dio-hook.h"

#include <chrono>
#include <optional>

namespace zolv {

/* The thread that samples an input. It starts the hook itself; what it tells the bus goes through
 * the main loop, and only when there is something to tell. */
class DioWatcher {
  public:
    DioWatcher(ZolvDIO *dio, ZolvGdbusObjDIO *skeleton, const DioHook &hook)
        : dio_(dio), skeleton_(skeleton), hook_(hook)
    {
    }

    /* Does nothing when the thread was started. */
    void start();
    /* Nothing reaches the bus behind this. */
    void stop();

  private:
    void watch(Worker &worker);
    bool sample(Worker &worker, guint *state);
    void run_hook(const DioHook::Path &path, guint event, guint state);
    void publish_active(bool active);

    ZolvDIO *dio_;
    ZolvGdbusObjDIO *skeleton_;
    const DioHook &hook_;
    std::chrono::milliseconds interval_{};
    std::optional<bool> active_; /* as the thread told the bus */
    MainJobs jobs_;
    Worker worker_;
};

} // namespace zolv
