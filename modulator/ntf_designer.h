// Noise transfer functions for the error-feedback modulator, as cascades of second-order sections.
#pragma once

#include "pipeline/kernel/error_feedback.h"

#include <vector>

namespace tesk::modulator {

using kernel::Sos;

/// A noise transfer function and the largest gain it has anywhere, in dB ("Lee peak": a one-bit loop stays stable
/// as long as its quantisation noise is not amplified much).
struct NoiseTransferFunction {
    int order = 0;
    std::vector<Sos> sections;
    double peakDb = 0;
};

/// The hand-tuned profile of order 15: the ladder of `designNtf` at its end points.
const std::vector<Sos>& ns15Profile();

/// The range of the automatic design, in degrees of the unit circle, and its real pole.
struct NtfRange {
    double lowestZero = 0.1;
    double highestZero = 2.4;
    double realPole = 0.66;
};

/// Designs an odd order 3 … 11: one real section and (order − 1) / 2 biquads with zeros spread geometrically over
/// the audio band and poles over a band 4.48 times as wide. While the peak exceeds 4.8 dB the zeros move down.
/// Throws std::invalid_argument with a fixed text for any other order.
NoiseTransferFunction designNtf(int order, const NtfRange& range = {});

/// Largest |H(e^{jω})| over a logarithmic sweep of `points` frequencies from 1/141120 of the sample rate to one
/// half, in dB; 20·log10(1e-15) when there is no point.
double measureNtfPeak(const std::vector<Sos>& sections, int points);

} // namespace tesk::modulator
