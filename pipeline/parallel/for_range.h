// Strided index ranges for the transforms, on workers of their own: a design running on the conversion thread
// never meets the pool's tasks.
#pragma once

#include <cstdint>
#include <functional>

namespace pcm2pdm::parallel {

/// PCM2PDM_THREADS when atoi makes it 1 or more, else the hardware concurrency, else 1.
int rangeWorkers(const char* variable, unsigned hardwareConcurrency);

/// Calls body(begin + k·step) for every k in [0, n), n = ceil((end − begin) / step). Worker w of W runs the k in
/// [w·n/W, (w+1)·n/W). Returns when all are done. Not reentrant from a body; calls from two threads take turns.
/// The body must not throw.
void for_range(std::int64_t begin, std::int64_t end, std::int64_t step, const std::function<void(std::int64_t)>& body);

} // namespace pcm2pdm::parallel
