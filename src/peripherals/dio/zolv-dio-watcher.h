#pragma once

#include "peripherals/dio/zolv-dio-hook.h"
#include "zolv-main-queue.h"
#include "zolv-worker.h"

#include <chrono>

namespace zolv {

/* The thread that samples an input. It starts the hook itself; what it tells the bus goes through
 * the main loop, and only when there is something to tell. */
class DioWatcher {
  public:
    DioWatcher(ZolvDIO *dio, ZolvGdbusObjDIO *skeleton, const DioHook &hook)
        : dio_(dio), skeleton_(skeleton), hook_(hook)
    {
    }

    void start();
    /* Nothing reaches the bus behind this. */
    void stop();

  private:
    void watch(Worker &worker);
    bool read_state(guint *state);
    void run_hook(const DioHook::Path &path, guint event, guint state);
    void publish_active(bool active);

    ZolvDIO *dio_;
    ZolvGdbusObjDIO *skeleton_;
    const DioHook &hook_;
    std::chrono::milliseconds interval_{};
    bool active_ = false; /* as told to the bus */
    MainJobs jobs_;
    Worker worker_;
};

} // namespace zolv
