#include "core/zolv-worker.h"

#include <array>
#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <pthread.h>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;

/* Far beyond what a stop takes, far below the waits that it must not wait out. */
constexpr auto at_once = 5s;

std::chrono::steady_clock::duration
time_of(const std::function<void()> &action)
{
    const auto start = std::chrono::steady_clock::now();

    action();
    return std::chrono::steady_clock::now() - start;
}

TEST(Worker, EndsALongWaitWhenToldToStop)
{
    std::atomic<bool> went_on = true;
    zolv::Worker worker;

    worker.start("waiter", [&](zolv::Worker &self) { went_on = self.sleep_for(10min); });
    EXPECT_LT(time_of([&] { worker.stop(); }), at_once);
    EXPECT_FALSE(went_on);
}

TEST(Worker, GoesOnAfterAWaitThatRanOut)
{
    std::atomic<int> passes = 0;
    zolv::Worker worker;

    worker.start("waiter", [&](zolv::Worker &self) {
        while (self.sleep_for(1ms))
            if (++passes == 3)
                break;
    });
    while (passes < 3)
        g_thread_yield();
    worker.stop();
    EXPECT_EQ(passes, 3);
}

TEST(Worker, IsRunningWhenItsBodyFirstLooks)
{
    for (int i = 0; i < 100; i++) {
        std::atomic<int> first_look = -1;
        zolv::Worker worker;
        worker.start("looker", [&](zolv::Worker &self) { first_look = self.running(); });
        while (first_look < 0)
            g_thread_yield();
        EXPECT_EQ(first_look, 1);
    }
}

TEST(Worker, IsStoppedByItsDestructorAndMayBeStartedAgain)
{
    std::atomic<int> ended = 0;
    const auto body = [&](zolv::Worker &self) {
        self.sleep_for(10min);
        ended++;
    };
    {
        zolv::Worker worker;
        worker.start("again", body);
        worker.stop();
        EXPECT_EQ(ended, 1);
        EXPECT_FALSE(worker.started());
        worker.start("again", body);
        worker.start("again", body);
    }
    EXPECT_EQ(ended, 2);
}

TEST(Worker, WaitsOutItsFirstWaitAfterItWasStartedAgain)
{
    std::atomic<bool> went_on = false;
    std::chrono::steady_clock::duration waited{};
    zolv::Worker worker;

    /* Requests that no wait has seen. */
    worker.start("again", [](zolv::Worker &) {});
    worker.request_stop();
    worker.request_stop();
    worker.stop();
    worker.start("again", [&](zolv::Worker &self) {
        waited = time_of([&] { self.sleep_for(20ms); });
        went_on = true;
    });
    while (!went_on)
        g_thread_yield();
    worker.stop();
    EXPECT_GE(waited, 20ms);
}

TEST(Worker, WakesTheWaitOfItsOwnKind)
{
    std::atomic<bool> woken = false;
    zolv::Worker worker;

    worker.start(
        "poller",
        [&](zolv::Worker &) {
            while (!woken)
                g_thread_yield();
        },
        [&] { woken = true; });
    worker.stop();
    EXPECT_TRUE(woken);
}

TEST(Worker, KeepsTheFirstFifteenBytesOfItsName)
{
    std::array<char, 16> name{};
    zolv::Worker worker;

    worker.start("a-name-of-twenty-one-bytes", [&](zolv::Worker &) {
        pthread_getname_np(pthread_self(), name.data(), name.size());
    });
    worker.stop();
    EXPECT_STREQ(name.data(), "a-name-of-twent");
}

/* In a process of its own: no thread may be made there any more. */
void
start_without_threads()
{
    const rlimit none{0, 0};
    zolv::Worker worker;

    if (geteuid() == 0 && setuid(65534) != 0)
        _exit(1);
    setrlimit(RLIMIT_NPROC, &none);
    const bool started = worker.start("too-many", [](zolv::Worker &) {});
    _exit(!started && !worker.started() ? 0 : 2);
}

TEST(Worker, ThatTheSystemHasNoThreadForIsNotStarted)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(start_without_threads(), testing::ExitedWithCode(0), "");
}

TEST(Worker, StopsManySideBySide)
{
    std::vector<std::unique_ptr<zolv::Worker>> workers;
    std::atomic<int> ended = 0;

    for (int i = 0; i < 32; i++) {
        workers.push_back(std::make_unique<zolv::Worker>());
        workers.back()->start("one-of-many", [&](zolv::Worker &self) {
            self.sleep_for(10min);
            ended++;
        });
    }
    EXPECT_LT(time_of([&] {
                  zolv::Worker::request_stop_all();
                  while (ended < 32)
                      g_thread_yield();
              }),
              at_once);
    workers.clear();
    EXPECT_EQ(ended, 32);
}

} // namespace
