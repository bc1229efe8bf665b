#include "pipeline/kernel/fir_upsample.h"

#include <algorithm>
#include <cmath>

namespace tesk::kernel {
namespace {

constexpr std::size_t kSmallestSplit = 64; // below this the hand-over costs more than it gains

void expandLowLevel(double* y, std::size_t n, double threshold)
{
    for (std::size_t i = 0; i < n; ++i)
        if (const double magnitude = std::fabs(y[i]); magnitude < threshold) {
            const double ratio = magnitude / threshold;
            y[i] *= ratio * ratio;
        }
}

} // namespace

void fir_upsample(const double* in, double* history, double* out, std::size_t n, const PhaseTable& phases,
                  double threshold, const KernelTable& kernels, parallel::WorkerPool* pool)
{
    const std::size_t taps = phases.taps(), L = phases.phases();
    std::copy_n(in, n, history + taps);
    auto range = [&, history, out](std::size_t first, std::size_t last) {
        kernels.upsampleRange(phases, history, out, first, last, kernels);
        if (threshold > 0) expandLowLevel(out + first * L, (last - first) * L, threshold);
    };
    const std::size_t parts = pool && n >= kSmallestSplit ? std::min(n, pool->workers()) : 1;
    if (parts < 2) {
        range(0, n);
    } else {
        parallel::TaskGroup group(*pool);
        for (std::size_t k = 0; k + 1 < parts; ++k)
            group.run([&range, first = k * n / parts, last = (k + 1) * n / parts] { range(first, last); });
        range((parts - 1) * n / parts, n);
        group.wait();
    }
    std::copy_n(history + n, taps, history);
}

} // namespace tesk::kernel
