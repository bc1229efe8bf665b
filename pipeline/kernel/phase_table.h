// The designed low-pass, cut into the phases of the oversampler.
#pragma once

#include "platform/memory.h"

#include <cstddef>
#include <vector>

namespace tesk::kernel {

/// Immutable after construction; one per job, read by all workers.
///
/// With the prototype h[0..N), L phases and T = N / L taps each (a rest of h is not used),
///     coeffs[p][t] = G[t·L + (L − p) mod L],   G[k] = h[N − 1 − k].
/// Together with the span rule of upsample_range.h this is the true convolution of the zero-stuffed input.
class PhaseTable {
public:
    /// Phases packed side by side: kGroup at a time, row by row, for the vector kernels.
    static constexpr std::size_t kGroup = 8;

    /// Cuts `prototype` (at least L samples long) into L phases.
    PhaseTable(const std::vector<double>& prototype, std::size_t phases);

    std::size_t phases() const { return phases_; }
    std::size_t taps() const { return taps_; }
    /// Output gain: L restores the level lost by zero insertion, 0.5 is the modulators' headroom.
    double gain() const { return static_cast<double>(phases_) * 0.5; }
    /// [taps] coefficients of phase p.
    const double* phase(std::size_t p) const { return coefficients_.get() + p * taps_; }

    std::size_t groups() const { return (phases_ + kGroup - 1) / kGroup; }
    /// [taps + 1][kGroup]: row r multiplies sample i + r of the span that starts at input position i. Phase 0 has a
    /// zero in the last row, every other phase in the first, phases beyond the last have zeros everywhere.
    const double* group(std::size_t g) const { return groups_.get() + g * (taps_ + 1) * kGroup; }

private:
    std::size_t phases_;
    std::size_t taps_;
    platform::DoubleBuffer coefficients_;
    platform::DoubleBuffer groups_;
};

} // namespace tesk::kernel
