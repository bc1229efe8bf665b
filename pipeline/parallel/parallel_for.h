// Index ranges over the worker pool.
#pragma once

#include "pipeline/parallel/worker_pool.h"

#include <algorithm>
#include <cstddef>

namespace tesk::parallel {

/// Calls body(i) for every i in [begin, end). Fewer than two indices run on the calling thread. Otherwise the
/// range is cut into min(n, workers) chunks in index order, the first n mod chunks of them one longer; the last
/// chunk runs on the calling thread, the others on the pool, and the call returns when all are done.
/// The body must not throw.
template <class F>
void parallel_for(std::size_t begin, std::size_t end, F&& body, WorkerPool& pool = WorkerPool::instance())
{
    if (end <= begin) return;
    const std::size_t n = end - begin;
    const std::size_t chunks = n < 2 ? 1 : std::min(n, pool.workers());
    TaskGroup group(pool);
    std::size_t first = begin;
    for (std::size_t c = 0; c < chunks; ++c) {
        const std::size_t last = first + n / chunks + (c < n % chunks ? 1 : 0);
        auto chunk = [&body, first, last] {
            for (std::size_t i = first; i < last; ++i) body(i);
        };
        if (c + 1 == chunks)
            chunk();
        else
            group.run(chunk);
        first = last;
    }
    group.wait();
}

} // namespace tesk::parallel
