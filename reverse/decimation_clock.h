// Which outputs of a decimation are due, and tasks over the worker pool: what both forms of the decimator share.
#pragma once

#include "pipeline/parallel/worker_pool.h"

#include <cstddef>
#include <cstdint>

namespace tesk {

/// Counts samples in and outputs out. Output j is due once sample firstNewest + (j + 1)·D has been seen.
struct DecimationClock {
    std::int64_t firstNewest = -1;
    std::int64_t decimation = 1;
    std::int64_t seen = 0; ///< samples, the zeros of a flush among them
    std::int64_t next = 0; ///< index of the next output

    /// Outputs due, with those already given.
    std::int64_t due() const
    {
        const std::int64_t past = seen - 1 - firstNewest;
        return past > 0 ? past / decimation : 0;
    }
    std::int64_t newestOf(std::int64_t output) const { return firstNewest + output * decimation; }
    /// Never less than what `samples` more will give.
    std::size_t most(std::size_t samples) const { return samples / static_cast<std::size_t>(decimation) + 1; }
};

/// body(i) for every i below count, the first on the calling thread and the others on the pool.
template <class F>
void runTasks(std::size_t count, parallel::WorkerPool& pool, F&& body)
{
    if (count == 0) return;
    parallel::TaskGroup group(pool);
    for (std::size_t i = 1; i < count; ++i) group.run([&body, i] { body(i); });
    body(std::size_t{0});
    group.wait();
}

} // namespace tesk
