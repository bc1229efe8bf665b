#include "pipeline/parallel/for_range.h"
#include "pipeline/parallel/parallel_for.h"

#include <atomic>
#include <gtest/gtest.h>
#include <set>
#include <thread>
#include <vector>

namespace tesk::parallel {
namespace {

TEST(WorkerCount, ComesFromTheVariableOrTheProcessor)
{
    EXPECT_EQ(workerCount("7", 2), 7U);
    for (const char* unusable : {"", "0", "-3", "many"}) EXPECT_EQ(workerCount(unusable, 3), 3U) << unusable;
    EXPECT_EQ(workerCount(nullptr, 16), 4U);
    EXPECT_EQ(workerCount(nullptr, 0), 1U) << "an unknown concurrency still leaves one worker";
    EXPECT_EQ(pcm2pdm::parallel::rangeWorkers("3", 8), 3);
    EXPECT_EQ(pcm2pdm::parallel::rangeWorkers("0", 8), 8);
    EXPECT_EQ(pcm2pdm::parallel::rangeWorkers(nullptr, 0), 1);
}

TEST(ParallelFor, CallsEveryIndexOnceForAnySize)
{
    WorkerPool pool(2);
    for (std::size_t n = 0; n < 40; ++n) {
        std::vector<std::atomic<int>> calls(n + 5);
        parallel_for(
            5, 5 + n, [&](std::size_t i) { ++calls[i]; }, pool);
        for (std::size_t i = 0; i < n + 5; ++i) EXPECT_EQ(calls[i].load(), i >= 5 ? 1 : 0);
    }
}

// Three indices on two workers are [0, 2) and [2, 3): the first two share a thread. One index needs no pool.
TEST(ParallelFor, CutsInIndexOrder)
{
    WorkerPool pool(2);
    std::thread::id ran[3];
    parallel_for(
        0, 3, [&](std::size_t i) { ran[i] = std::this_thread::get_id(); }, pool);
    EXPECT_EQ(ran[0], ran[1]);
    EXPECT_NE(ran[1], ran[2]);
    parallel_for(
        0, 1, [&](std::size_t i) { ran[i] = std::this_thread::get_id(); }, pool);
    EXPECT_EQ(ran[0], std::this_thread::get_id());
}

// Several callers share one pool: each waits for its own tasks and sees all of them done.
TEST(TaskGroup, CallersDoNotSeeEachOthersTasks)
{
    WorkerPool pool(3);
    std::vector<std::thread> callers;
    std::atomic<int> wrong{0};
    for (int c = 0; c < 4; ++c)
        callers.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                std::atomic<int> done{0};
                TaskGroup group(pool);
                for (int t = 0; t < 5; ++t) group.run([&done] { ++done; });
                group.wait();
                if (done != 5) ++wrong;
            }
        });
    for (auto& caller : callers) caller.join();
    EXPECT_EQ(wrong.load(), 0);
}

TEST(ForRange, VisitsEveryStep)
{
    for (const std::int64_t end : {3, 4, 20, 21, 1000}) {
        std::vector<std::atomic<int>> calls(1100);
        pcm2pdm::parallel::for_range(3, end, 4, [&](std::int64_t i) { ++calls[static_cast<std::size_t>(i)]; });
        for (std::int64_t i = 0; i < 1100; ++i)
            EXPECT_EQ(calls[static_cast<std::size_t>(i)].load(), i >= 3 && i < end && (i - 3) % 4 == 0 ? 1 : 0) << i;
    }
}

} // namespace
} // namespace tesk::parallel
