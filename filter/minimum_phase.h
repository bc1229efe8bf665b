// From any filter to the one of the same magnitude whose energy comes earliest.
#pragma once

#include <vector>

namespace tesk {

/// The minimum-phase filter with the magnitude of `taps`, cut to as many coefficients N = taps.size().
///
/// The cepstrum of 2N points is folded onto its causal half. Two limits follow: magnitudes below 1e-12 count as 1e-12,
/// and a filter whose response has zeros on the unit circle rings longer than 2N points, so its passband is met to some
/// tenths of a dB and its DC gain only about; a caller that needs it exact divides by the sum. Three transforms of
/// 2N points.
/// Source: Oppenheim and Schafer, Discrete-Time Signal Processing, chapter on the cepstrum (homomorphic deconvolution).
std::vector<double> minimumPhase(const std::vector<double>& taps);

} // namespace tesk
