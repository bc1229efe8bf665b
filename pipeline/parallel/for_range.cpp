#include "pipeline/parallel/for_range.h"

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace pcm2pdm::parallel {
namespace {

struct Range {
    std::int64_t begin = 0, step = 1, count = 0;
    const std::function<void(std::int64_t)>* body = nullptr;

    void runShare(std::int64_t worker, std::int64_t workers) const
    {
        for (std::int64_t k = worker * count / workers; k < (worker + 1) * count / workers; ++k)
            (*body)(begin + k * step);
    }
};

/// Threads that sleep until the generation moves on. The calling thread is worker 0.
class RangeWorkers {
public:
    explicit RangeWorkers(int workers)
    {
        try {
            for (int w = 1; w < workers; ++w) threads_.emplace_back([this, w] { work(w); });
        } catch (const std::system_error&) {
            // The system gives no more threads: those there are share the range.
        }
        std::lock_guard guard(lock_);
        workers_ = static_cast<int>(threads_.size()) + 1;
    }
    ~RangeWorkers()
    {
        {
            std::lock_guard guard(lock_);
            stop_ = true;
            ++generation_;
        }
        wake_.notify_all();
        for (auto& thread : threads_) thread.join();
    }

    void run(const Range& range)
    {
        std::lock_guard oneAtATime(turn_);
        {
            std::lock_guard guard(lock_);
            range_ = range;
            running_ = workers_ - 1;
            ++generation_;
        }
        wake_.notify_all();
        range.runShare(0, workers_);
        std::unique_lock guard(lock_);
        done_.wait(guard, [this] { return running_ == 0; });
    }

private:
    void work(int worker)
    {
        std::uint64_t seen = 0;
        std::unique_lock guard(lock_);
        for (;;) {
            wake_.wait(guard, [&] { return generation_ != seen; });
            seen = generation_;
            if (stop_) return;
            const Range range = range_;
            const int workers = workers_;
            guard.unlock();
            range.runShare(worker, workers);
            guard.lock();
            if (--running_ == 0) done_.notify_one();
        }
    }

    int workers_ = 1; // the calling thread counts; settled before the first run
    std::mutex turn_, lock_;
    std::condition_variable wake_, done_;
    std::uint64_t generation_ = 0;
    int running_ = 0;
    bool stop_ = false;
    Range range_;
    std::vector<std::thread> threads_;
};

} // namespace

int rangeWorkers(const char* variable, unsigned hardwareConcurrency)
{
    if (variable)
        if (const int wanted = std::atoi(variable); wanted >= 1) return wanted;
    return hardwareConcurrency > 0 ? static_cast<int>(hardwareConcurrency) : 1;
}

void for_range(std::int64_t begin, std::int64_t end, std::int64_t step, const std::function<void(std::int64_t)>& body)
{
    if (end <= begin || step <= 0) return;
    static RangeWorkers workers(rangeWorkers(std::getenv("PCM2PDM_THREADS"), std::thread::hardware_concurrency()));
    workers.run({begin, step, (end - begin + step - 1) / step, &body});
}

} // namespace pcm2pdm::parallel
