// Several real poles in the place of one.
#pragma once

#include <vector>

namespace tesk::modulator {

/// Real poles around one, with the same gain at half the sample rate: the peak of a transfer function whose zeros are
/// nearer to DC than its poles.
///
/// @param pole   magnitude in [0, 1), as the shaper holds it (UnifiedNoiseShaper::poles(): order 9 has a least one)
/// @param order  at least 1
/// @return       [order] in [0, 1), ascending
/// Throws std::invalid_argument with a fixed text.
///
/// The poles are (1 + pole)·e^x − 1 with x evenly spread over ±0.01, so that Π(1 + p) stays. No such spread gains
/// anything in the band: there the gain goes with 1/Π(1 − p), and ln(2 − e^x) is concave, so by Jensen's inequality
/// equal poles leave the least noise. The spread is small for that reason. It costs 0.13, 0.17, 0.20 and 0.45 dB at
/// orders 3, 5, 7 and 9 with the default poles at 64 times oversampling; measured on decisions 0.1 … 0.5 dB. Twice the
/// width costs four times as much, and the peak at which the loop runs away stays the same within 0.05 dB.
std::vector<double> spreadPoles(double pole, int order);

/// A list repeated to its beginning again until it has `order` poles, or cut there.
/// Throws std::invalid_argument when the list is empty or `order` is below 1; the poles themselves are not looked at.
std::vector<double> tilePoles(const std::vector<double>& list, int order);

} // namespace tesk::modulator
