// Jobs of a batch that only pretend: what the runner makes of their ends, their words and a stop.
#include "engine/batch/batch_run.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>

namespace tesk {
namespace {

using namespace std::chrono_literals;

class BatchRunTest : public testing::Test {
protected:
    BatchSetup setup(std::size_t items, std::size_t jobs)
    {
        BatchSetup s;
        for (std::size_t i = 1; i <= items; ++i)
            s.items.push_back({i, {"in" + std::to_string(i), {}}, "out" + std::to_string(i)});
        s.seconds.assign(items, 1.0);
        s.total = items;
        s.jobs = jobs;
        return s;
    }

    int run(const BatchSetup& s)
    {
        report = {};
        StopFlag flag(stop);
        return runBatch(s, report, flag);
    }

    std::atomic<std::uint8_t> stop{0};
    CollectingReporter report;
};

TEST_F(BatchRunTest, SaysTheSameWithAnyNumberOfJobs)
{
    std::string expected;
    for (const std::size_t jobs : {1, 2, 3, 7, 50}) {
        BatchSetup s = setup(20, jobs);
        std::atomic<int> running{0}, most{0};
        s.convert = [&](const BatchItem& item, const ItemContext& context) {
            const int now = ++running;
            for (int seen = most.load(); seen < now && !most.compare_exchange_weak(seen, now);) {
            }
            std::minstd_rand chance(static_cast<unsigned>(item.number * jobs));
            for (int k = 0; k < 5; ++k) {
                context.report.out("%zu says %d\n", item.number, k);
                context.progress(k);
                std::this_thread::sleep_for(std::chrono::microseconds(chance() % 2000));
            }
            if (item.number == 13) throw std::runtime_error("thirteen");
            --running;
            return item.number % 6 == 5 ? DSD_ERROR_INPUT : DSD_SUCCESS;
        };
        EXPECT_EQ(run(s), DSD_ERROR_INPUT);
        if (expected.empty()) expected = report.text;
        EXPECT_EQ(report.text, expected) << jobs;
        EXPECT_LE(most.load(), static_cast<int>(jobs) + 1); // thirteen never left
        EXPECT_GE(most.load(), jobs > 1 ? 2 : 1);
    }
    EXPECT_NE(expected.find("\n━━━ Batch [5/20] in5\n5 says 0\n"), std::string::npos);
    EXPECT_NE(expected.find("  ✓ out4\n"), std::string::npos);
    EXPECT_NE(expected.find("  ✗ exit code -51 (DSD_ERROR_INPUT)\n"), std::string::npos);
    EXPECT_NE(expected.find("Fatal: thirteen\n  ✗ exit code -1 (DSD_ERROR)\n"), std::string::npos);
    EXPECT_TRUE(expected.ends_with("\nBatch done: 16 OK, 4 failed\n  ✗ in5 (-51)\n  ✗ in11 (-51)\n  ✗ in13 (-1)\n"
                                   "  ✗ in17 (-51)\n"));
}

TEST_F(BatchRunTest, AStopEndsWhatRunsAndStartsNothingMore)
{
    for (const std::size_t jobs : {1, 3}) {
        BatchSetup s = setup(10, jobs);
        std::atomic<std::size_t> started{0};
        s.convert = [&](const BatchItem& item, const ItemContext& context) {
            ++started;
            if (item.number == 1) return DSD_SUCCESS;
            if (item.number == 2) stop = 1;
            while (!context.stop.take()) std::this_thread::sleep_for(1ms);
            return kHostStopped;
        };
        EXPECT_EQ(run(s), kHostStopped);
        EXPECT_EQ(stop.load(), 0);
        EXPECT_LE(started.load(), jobs + 1);
        EXPECT_NE(report.text.find("  ✗ exit code -61 ((unknown))\n"), std::string::npos);
        EXPECT_NE(report.text.find("Batch done: 1 OK, " + std::to_string(started.load() - 1) + " failed"),
                  std::string::npos);
    }
    stop = 1; // before the first item
    BatchSetup s = setup(3, 2);
    s.convert = [](const BatchItem&, const ItemContext&) { return DSD_SUCCESS; };
    EXPECT_EQ(run(s), kHostStopped);
    EXPECT_TRUE(report.text.starts_with("\nBatch done: 0 OK, 0 failed\nStopped; 3 not begun."));
}

TEST_F(BatchRunTest, LeavesWhatIsDoneAlready)
{
    BatchSetup s = setup(3, 2);
    s.isDone = [](const BatchItem& item) { return item.number != 2; };
    std::atomic<int> converted{0};
    s.convert = [&](const BatchItem& item, const ItemContext&) {
        EXPECT_EQ(item.number, 2U);
        ++converted;
        return DSD_SUCCESS;
    };
    EXPECT_EQ(run(s), DSD_SUCCESS);
    EXPECT_EQ(converted.load(), 1);
    EXPECT_NE(report.text.find("  ✓ out1 (complete already)\n"), std::string::npos);
}

TEST(BatchJobsTest, FitProcessorsAndMemory)
{
    const std::vector<std::uint64_t> bytes = {10, 40, 20, 30};
    EXPECT_EQ(batchJobs(bytes, 2, 1000), 2U);
    EXPECT_EQ(batchJobs(bytes, 64, {}), 4U);
    EXPECT_EQ(batchJobs(bytes, 64, 140), 2U); // 40 + 30 fit in the half, 20 more do not
    EXPECT_EQ(batchJobs(bytes, 64, 20), 1U);
    EXPECT_EQ(batchJobs({}, 0, 0), 1U);
}

} // namespace
} // namespace tesk
