#include "pipeline/parallel/worker_pool.h"

#include "platform/cpu_features.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>

namespace tesk::parallel {

namespace {

/// The block loop hands over work some hundreds of times a second, and waking a sleeping thread costs as much as
/// a tenth of a block. So whoever waits looks on for about this many turns first.
constexpr int kWatchTurns = 2000;

template <class Done>
void watch(Done done)
{
    for (int turn = 0; turn < kWatchTurns && !done(); ++turn) platform::relaxProcessor();
}

} // namespace

std::size_t workerCount(const char* variable, unsigned hardwareConcurrency)
{
    if (variable && *variable)
        if (const long wanted = std::strtol(variable, nullptr, 10); wanted > 0) return static_cast<std::size_t>(wanted);
    return std::clamp<std::size_t>(hardwareConcurrency, 1, 4);
}

WorkerPool& WorkerPool::instance()
{
    static WorkerPool pool(workerCount(std::getenv("TESK_ENGINE_THREADS"), std::thread::hardware_concurrency()));
    return pool;
}

WorkerPool::WorkerPool(std::size_t workers)
{
    try {
        for (std::size_t i = 0; i < workers; ++i) threads_.emplace_back([this] { work(); });
    } catch (const std::system_error&) {
        // The system gives no more threads: those there are do the work, or the calling thread alone.
    }
}

WorkerPool::~WorkerPool()
{
    {
        std::lock_guard guard(lock_);
        stop_ = true;
    }
    workAvailable_.notify_all();
    for (auto& thread : threads_) thread.join();
}

void WorkerPool::submit(Task task)
{
    {
        std::lock_guard guard(lock_);
        ++task.group->open_;
        queue_.push_back(std::move(task));
        queued_ = queue_.size();
        if (watching_ && queue_.size() == 1) return; // the watcher takes it
    }
    workAvailable_.notify_one();
}

void WorkerPool::watchForWork(std::unique_lock<std::mutex>& guard)
{
    if (watching_ || stop_ || !queue_.empty()) return;
    watching_ = true;
    guard.unlock();
    watch([this] { return queued_.load(std::memory_order_relaxed) > 0; });
    guard.lock();
    watching_ = false;
}

void WorkerPool::work()
{
    std::unique_lock guard(lock_);
    for (;;) {
        watchForWork(guard);
        workAvailable_.wait(guard, [this] { return stop_ || !queue_.empty(); });
        if (queue_.empty()) return;
        Task task = std::move(queue_.front());
        queue_.pop_front();
        queued_ = queue_.size();
        guard.unlock();
        task.run();
        guard.lock();
        if (--task.group->open_ == 0) groupDone_.notify_all();
    }
}

void TaskGroup::run(std::function<void()> task) { pool_.submit({std::move(task), this}); }

void TaskGroup::wait()
{
    watch([this] { return open_.load(std::memory_order_relaxed) == 0; });
    std::unique_lock guard(pool_.lock_);
    pool_.groupDone_.wait(guard, [this] { return open_ == 0; });
}

} // namespace tesk::parallel
