// How much of the music's first channel comes back when the decisions are filtered and decimated again.
#pragma once

#include "pipeline/conversion_block.h"

#include <vector>

namespace tesk {

/// Keeps the decisions of channel 1 over a short segment in the middle of the recording. The report compares the
/// input with the decisions behind the job's own low-pass h, run backwards, so that no phase response is left of the
/// two; both at the decisions' level:
///     y[n] = Σ_k h[k]·d[n·L + 1 + k + D]        (the oversampler is one decision late, the stages D)
///     r[n] = y[n] − g·x[n],    g = input gain · 0.5 · modulator gain
/// What lies near the band edge counts twice as attenuated and so adds to the residual.
class ResidualObserver final : public BlockObserver {
public:
    explicit ResidualObserver(const Pcm2pdm& job);
    void see(const double* const* decisions, std::size_t samples, std::uint64_t position) override;
    /// "Residual: RMS=..., ..."; nothing when the segment was never complete.
    void report(Reporter& report) override;

private:
    const Pcm2pdm& job_;
    double stageDelay_ = 0;         ///< D
    std::size_t taps_ = 0;          ///< N, of the whole prototype
    std::size_t frames_ = 0;        ///< PCM frames of the segment
    std::uint64_t first_ = 0;       ///< its first PCM frame
    std::uint64_t firstSample_ = 0; ///< first decision kept
    std::size_t span_ = 0;          ///< decisions that one value of y takes
    std::vector<double> kept_;
    std::size_t filled_ = 0;
};

} // namespace tesk
