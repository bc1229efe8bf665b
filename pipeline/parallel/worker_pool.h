// The process's worker threads and the queue that feeds them.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tesk::parallel {

class TaskGroup;

/// Created on first use, never shrunk. Its size: TESK_ENGINE_THREADS when that is a number above 0, else the
/// processor's concurrency, at most 4 and at least 1.
class WorkerPool {
public:
    static WorkerPool& instance();

    explicit WorkerPool(std::size_t workers);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// At least 1: where no thread could be had, callers keep everything to themselves.
    std::size_t workers() const { return threads_.empty() ? 1 : threads_.size(); }

private:
    friend class TaskGroup;
    struct Task {
        std::function<void()> run;
        TaskGroup* group;
    };
    void submit(Task task);
    void work();
    void watchForWork(std::unique_lock<std::mutex>& guard);

    std::mutex lock_;
    std::condition_variable workAvailable_;
    std::condition_variable groupDone_;
    std::deque<Task> queue_;
    bool stop_ = false;
    bool watching_ = false; // one idle worker looks at `queued_` for a moment before it sleeps
    std::atomic<std::size_t> queued_{0};
    std::vector<std::thread> threads_;
};

/// Tasks that one caller hands to the pool and waits for together; other callers' tasks do not hold it up.
/// Not to be used from inside a task: a worker that waits for workers may wait for ever.
class TaskGroup {
public:
    explicit TaskGroup(WorkerPool& pool) : pool_(pool) {}
    ~TaskGroup() { wait(); }
    TaskGroup(const TaskGroup&) = delete;
    TaskGroup& operator=(const TaskGroup&) = delete;

    /// Queues a task. It must not throw.
    void run(std::function<void()> task);
    /// Returns when every task of this group has ended.
    void wait();

private:
    friend class WorkerPool;
    WorkerPool& pool_;
    std::atomic<std::size_t> open_{0}; // changed under the pool's lock
};

/// The size rule as a function of its two inputs; `variable` may be null.
std::size_t workerCount(const char* variable, unsigned hardwareConcurrency);

} // namespace tesk::parallel
