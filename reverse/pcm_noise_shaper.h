// Rounds one channel of PCM to the word length of its file and moves the rounding noise to where it is wanted.
#pragma once

#include "modulator/unified_noise_shaper.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tesk {

/// Error feedback in direct form II. With e = u − y the error of the rounding and h = e/D,
///     u = x + Σ (D[k] − N[k])·h[n−k],   y = Q(u),   h[n] = (u − y) − Σ D[k]·h[n−k],   k = 1 … order,
/// so that y = x − (N/D)·e.
///
/// Q rounds to the nearest multiple of the PCM writers' step 1 / (2^(bits−1) − 1), halves away from zero. It does not
/// clamp: an error that the loop cannot pay back would make it unstable, and the writer clamps anyway. A sample too
/// large to have a fraction is its own multiple.
///
/// Poles of equal radius q magnify the history by (1 − q)^−order. With seven of them doubles carry that up to q = 0.98,
/// with nine up to 0.97; beyond, the polynomials' own rounding moves poles out of the unit circle. The feedback u − x
/// is therefore watched: 2^order steps, above all that zeros near DC can ask for, empty the history.
class PcmNoiseShaper {
public:
    /// @param bits  word length, 2 … 32
    PcmNoiseShaper(const modulator::UnifiedNoiseShaper& design, std::uint32_t bits);

    /// In place, full scale ±1.0; the state is carried from call to call. What is not a number or infinite comes out as
    /// 0 and empties the history, as if the stream began behind it. Allocates nothing.
    void process(double* samples, std::size_t frames);

private:
    double scale_;                  // steps in full scale
    double limit_;                  // of the feedback, in steps
    std::vector<double> toInput_;   // [order] D[k] − N[k], k = 1 …
    std::vector<double> toHistory_; // [order] −D[k], k = 1 …
    std::vector<double> history_;   // [order + 1] h in steps, the newest first
};

} // namespace tesk
