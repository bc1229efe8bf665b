// The DST encoder's loops over samples. All bits of a frame are known beforehand, so many samples go at once.
// Sums are exact integers: every level gives the same ones.
#pragma once

#include "platform/cpu_features.h"

#include <cstddef>
#include <cstdint>

namespace tesk {

/// Samples that stand before the first one: the longest filter's, and what a vector reads beyond them.
inline constexpr std::size_t kDstPast = 160;

/// A signal of `count` samples in two forms: x as +1 and -1, `bits` as 1 and 0. Both point at the first sample behind
/// kDstPast others. Any alignment.
struct DstFilterKernels {
    const char* level;

    /// z[n] = Σ coefs[k]·x[n−1−k], k = 0..order−1, order 1..128. Σ|coefs| is at most 32767.
    void (*filter)(const std::int16_t* coefs, unsigned order, const std::int16_t* x, std::size_t count,
                   std::int16_t* z);

    /// sums[k] = Σ g[n]·(2·bits[n−1−k] − 1), k = 0..order−1. |g| is at most 127, count at most 2^20.
    void (*correlate)(const std::int8_t* g, const std::uint8_t* bits, std::size_t count, unsigned order,
                      std::int64_t* sums);

    /// What the prediction z still lacks, where 2^unitLog2 (6..13) stands for one:
    /// g[n] = x[n]·clip(round(64·(1 − x[n]·z[n])), 0, 127).
    /// @return how many were not clipped
    std::size_t (*shortfall)(const std::int16_t* z, const std::int16_t* x, std::size_t count, int unitLog2,
                             std::int8_t* g);

    /// decisions[n] = min(|z| div 8, 63), and 64 more when the sign of z (0 counts as positive) is not that of x.
    void (*decide)(const std::int16_t* z, const std::int16_t* x, std::size_t count, std::uint8_t* decisions);

    /// row[i] −= factor·pivot[i], each product rounded before it is subtracted.
    void (*eliminate)(double* row, const double* pivot, double factor, std::size_t count);
};

/// The plain loops, which every other level is held against.
DstFilterKernels scalarDstKernels();

/// The best level of a processor. Pure: a test may ask for any level its machine can run.
DstFilterKernels dstKernelsFor(const platform::CpuFeatures& cpu);

} // namespace tesk
