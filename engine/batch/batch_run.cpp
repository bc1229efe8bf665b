#include "engine/batch/batch_run.h"

#include "engine/batch/batch_progress.h"
#include "engine/batch/turn_taking.h"
#include "platform/locale.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace tesk {
namespace {

constexpr auto kStopPoll = std::chrono::milliseconds(20);

class BatchRun {
public:
    BatchRun(const BatchSetup& setup, Reporter& report, StopFlag& stop)
        : setup_(setup), report_(report), hostStop_(stop), progress_(setup.terminal, setup.seconds),
          turns_(report, setup.items.size(), [this](const auto& text) { progress_.between(text); }),
          stops_(setup.items.size()), results_(setup.items.size())
    {
    }

    int run()
    {
        takeHostStop();
        const std::size_t count =
            std::clamp<std::size_t>(setup_.jobs, 1, std::max<std::size_t>(1, setup_.items.size()));
        std::vector<std::thread> threads = startWorkers(count);
        if (threads.empty()) work(); // on this thread; a stop then waits for the end of the item
        waitForWorkers();
        for (std::thread& thread : threads) thread.join();
        return conclude();
    }

private:
    void takeHostStop()
    {
        if (stopped_.load() || !hostStop_.take()) return;
        stopped_ = true;
        for (auto& flag : stops_) flag = 1;
    }

    /// As many as the system gives, at most `count`; with none, the caller counts as one.
    std::vector<std::thread> startWorkers(std::size_t count)
    {
        const std::lock_guard guard(lock_);
        std::vector<std::thread> threads;
        try {
            while (threads.size() < count) threads.emplace_back([this] { work(); });
        } catch (const std::system_error&) {
            // The threads that there are do the work.
        }
        running_ = std::max<std::size_t>(1, threads.size());
        return threads;
    }

    void waitForWorkers()
    {
        std::unique_lock guard(lock_);
        while (!workerLeft_.wait_for(guard, kStopPoll, [this] { return running_ == 0; })) takeHostStop();
    }

    void work()
    {
        const platform::CLocale locale; // of this thread: the host's may have a decimal comma
        for (std::size_t i = next_++; i < setup_.items.size(); i = next_++) {
            if (!stopped_.load()) results_[i] = settleItem(i);
            turns_.end(i); // of those that never began too: the words of later ones wait for it
        }
        const std::lock_guard guard(lock_);
        --running_;
        workerLeft_.notify_one();
    }

    /// No exception of an item reaches the others.
    int settleItem(std::size_t i)
    {
        try {
            return runItem(i);
        } catch (const std::exception& error) {
            turns_.reporterOf(i).error("Fatal: %s\n  ✗ exit code %d (%s)\n", error.what(), static_cast<int>(DSD_ERROR),
                                       status_name(DSD_ERROR));
            progress_.itemEnded(i);
            return DSD_ERROR;
        }
    }

    int runItem(std::size_t i)
    {
        const BatchItem& item = setup_.items[i];
        Reporter& report = turns_.reporterOf(i);
        report.closing("\n━━━ Batch [%zu/%zu] %s\n", item.number, setup_.total, item.input.path.c_str());
        std::fflush(stdout);
        const bool done = setup_.isDone && setup_.isDone(item);
        StopFlag stop(stops_[i]);
        const auto progress = [this, i](double seconds) { progress_.advance(i, seconds); };
        const int status = done ? DSD_SUCCESS : setup_.convert(item, {report, stop, progress});
        progress_.itemEnded(i);
        if (status == DSD_SUCCESS)
            report.closing("  ✓ %s%s\n", item.outputs().c_str(), done ? " (complete already)" : "");
        else
            report.closing("  ✗ exit code %d (%s)\n", status, status_name(status));
        return status;
    }

    int conclude()
    {
        int good = 0, bad = 0, first = DSD_SUCCESS;
        std::size_t begun = 0;
        std::string failures; // a long report has hidden them
        for (std::size_t i = 0; i < results_.size(); ++i) {
            const auto& result = results_[i];
            if (!result) continue; // not started
            ++begun;
            ++(*result == DSD_SUCCESS ? good : bad);
            if (first == DSD_SUCCESS) first = *result;
            if (*result != DSD_SUCCESS)
                failures += "  ✗ " + setup_.items[i].input.path + " (" + std::to_string(*result) + ")\n";
        }
        progress_.between([&] {
            report_.closing("\nBatch done: %d OK, %d failed\n%s", good, bad, failures.c_str());
            if (stopped_.load())
                report_.closing("Stopped; %zu not begun. The same command with --skip-existing goes on.\n",
                                results_.size() - begun);
        });
        return stopped_.load() ? kHostStopped : first;
    }

    const BatchSetup& setup_;
    Reporter& report_;
    StopFlag& hostStop_;
    BatchProgress progress_;
    TurnTaking turns_;
    std::deque<std::atomic<std::uint8_t>> stops_; // one an item: a stop request is taken by the job that sees it
    std::vector<std::optional<int>> results_;
    std::atomic<std::size_t> next_{0};
    std::atomic<bool> stopped_{false};
    std::mutex lock_;
    std::condition_variable workerLeft_;
    std::size_t running_ = 0; // workers; under lock_
};

} // namespace

int runBatch(const BatchSetup& setup, Reporter& report, StopFlag& stop) { return BatchRun(setup, report, stop).run(); }

std::size_t batchJobs(std::vector<std::uint64_t> bytes, unsigned processors, std::optional<std::uint64_t> available)
{
    std::sort(bytes.rbegin(), bytes.rend());
    std::size_t jobs = 0;
    std::uint64_t together = 0;
    for (; jobs < std::min<std::size_t>(bytes.size(), processors); ++jobs) {
        if (available && bytes[jobs] > *available / 2 - std::min(together, *available / 2)) break;
        together += bytes[jobs];
    }
    return std::max<std::size_t>(1, jobs);
}

} // namespace tesk
