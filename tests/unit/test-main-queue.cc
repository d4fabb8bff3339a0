#include "core/zolv-main-queue.h"

#include <array>
#include <atomic>
#include <glib.h>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <vector>

namespace {

void
run_what_is_posted()
{
    while (g_main_context_iteration(nullptr, FALSE))
        ;
}

TEST(MainQueue, RunsNothingBeforeTheMainLoopTurns)
{
    zolv::MainJobs jobs;
    int runs = 0;

    jobs.post([&] { runs++; });
    EXPECT_EQ(runs, 0);
    run_what_is_posted();
    EXPECT_EQ(runs, 1);
}

TEST(MainQueue, KeepsTheOrderOfThousandsOfJobsOfAThread)
{
    constexpr int n_jobs = 20000;
    zolv::MainJobs jobs;
    std::vector<int> seen;
    std::thread poster([&] {
        for (int i = 0; i < n_jobs; i++)
            jobs.post([&seen, i] { seen.push_back(i); });
    });

    while (seen.size() < n_jobs)
        g_main_context_iteration(nullptr, TRUE);
    poster.join();
    for (int i = 0; i < n_jobs; i++)
        ASSERT_EQ(seen[static_cast<std::size_t>(i)], i);
}

TEST(MainQueue, TakesTheJobsOfManyThreadsAtATime)
{
    constexpr std::size_t n_threads = 4;
    constexpr std::size_t n_jobs = 50000;
    zolv::MainJobs jobs;
    std::array<std::size_t, n_threads> seen{};
    std::size_t n_seen = 0;
    bool in_order = true;
    std::atomic<bool> begin = false;
    std::vector<std::thread> posters;

    for (std::size_t t = 0; t < n_threads; t++)
        posters.emplace_back([&, t] {
            while (!begin)
                std::this_thread::yield();
            for (std::size_t i = 0; i < n_jobs; i++)
                jobs.post([&, t, i] {
                    in_order = in_order && seen[t] == i;
                    seen[t]++;
                    n_seen++;
                });
        });
    begin = true;
    for (std::thread &poster : posters)
        poster.join();
    run_what_is_posted();
    EXPECT_TRUE(in_order);
    EXPECT_EQ(n_seen, n_threads * n_jobs);
}

TEST(MainQueue, IsReadAgainAfterItWasEmpty)
{
    zolv::MainJobs jobs;
    int runs = 0;

    for (int i = 1; i <= 3; i++) {
        jobs.post([&] { runs++; });
        run_what_is_posted();
        EXPECT_EQ(runs, i);
    }
}

TEST(MainQueue, LeavesTheMainLoopToOthersNowAndThen)
{
    zolv::MainJobs jobs;
    int runs = 0;
    int runs_before_the_other = -1;

    for (int i = 0; i < 10000; i++)
        jobs.post([&] { runs++; });
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](gpointer data) -> gboolean {
            (*static_cast<std::function<void()> *>(data))();
            return G_SOURCE_REMOVE;
        },
        new std::function<void()>([&] { runs_before_the_other = runs; }),
        [](gpointer data) { delete static_cast<std::function<void()> *>(data); });
    run_what_is_posted();
    EXPECT_LT(runs_before_the_other, 10000);
    EXPECT_EQ(runs, 10000);
}

TEST(MainQueue, ForgetsTheJobsOfAnOwnerThatIsGoneAndNoOthers)
{
    zolv::MainJobs staying;
    auto leaving = std::make_unique<zolv::MainJobs>();
    int left = 0;
    int stayed = 0;

    leaving->post([&] { left++; });
    staying.post([&] { stayed++; });
    leaving->post([&] { left++; });
    leaving.reset();
    run_what_is_posted();
    EXPECT_EQ(left, 0);
    EXPECT_EQ(stayed, 1);
}

/* An object that a job keeps alive ends with that job, and cancels jobs of its own. */
TEST(MainQueue, LetsTheLastReferenceToAnotherOwnerGoWithAJob)
{
    zolv::MainJobs jobs;
    auto other = std::make_shared<zolv::MainJobs>();
    int runs = 0;

    other->post([&] { runs++; });
    jobs.post([held = std::move(other)] {});
    jobs.cancel();
    run_what_is_posted();
    EXPECT_EQ(runs, 0);
}

TEST(MainQueue, LetsAJobCancelThoseBehindIt)
{
    zolv::MainJobs jobs;
    int runs = 0;

    jobs.post([&] {
        runs++;
        jobs.cancel();
    });
    jobs.post([&] { runs++; });
    run_what_is_posted();
    EXPECT_EQ(runs, 1);
}

} // namespace
