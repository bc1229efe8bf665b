// One long filter on ±1 samples as two short ones, the first at a multiple of the output rate.
#pragma once

#include <cstddef>
#include <vector>

namespace tesk {

/// Value i of the first step is Σ_m first[m] · x[i·stride − m]; output j of the second is
/// Σ_t second[t] · value[j·D/stride + lead − (size − 1) + t]. With a stride of D and one tap of 1 there is no second
/// step.
///
/// The taps of the first step lie on so coarse a binary grid that every sum of them is exact in a double: any order of
/// summation, and so any kernel, gives the same value.
struct TwoStepFilter {
    std::size_t stride = 8;     ///< samples, a multiple of 8 that divides the decimation
    std::vector<double> first;  ///< [a multiple of 8], newest sample first
    std::vector<double> second; ///< oldest value first
    std::size_t lead = 0;       ///< values that an output sees beyond its own instant
    double error = 0;           ///< Σ |difference to the filter asked for|: no ±1 input can bring out more

    bool isDirect() const { return second.size() == 1; }
};

/// What a filter in two steps may differ by.
inline constexpr double kTwoStepErrorBound = 5e-11;

/// @param response    newest sample first; not empty
/// @param decimation  a multiple of 8
/// @param lookahead   samples after an output's instant that it may use
///
/// The first step's low-pass P is a Kaiser window whose first zero lies where the aliases of the response's pass band
/// begin; nothing in between matters, as the second step Q has the response H divided by P, so that P·Q = H up to
/// half the rate between the steps. Beyond it P·Q repeats H times P, and H itself is as good as nothing. The difference
/// H − P·Q is then worked out tap by tap: the largest stride whose error is within kTwoStepErrorBound is taken, and
/// where none is (no biquads, or too short a FIR) the filter stays in one piece.
TwoStepFilter designTwoStep(const std::vector<double>& response, std::size_t decimation, std::size_t lookahead);

/// The taps on the grid that makes their sums exact.
std::vector<double> roundedForExactSums(std::vector<double> taps);

} // namespace tesk
