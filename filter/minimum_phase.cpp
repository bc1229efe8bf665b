#include "filter/minimum_phase.h"

#include "filter/fft.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>

namespace tesk {
namespace {

using Spectrum = std::vector<std::complex<double>>;

/// The inverse transform, scaled so that it undoes the forward one.
void inverse(FftPlan& plan, Spectrum& data)
{
    plan.inverse(data.data());
    const double scale = 1.0 / static_cast<double>(data.size());
    for (auto& value : data) value *= scale;
}

/// Twice the causal half of an even cepstrum, [2n]: its magnitude is the same, its phase the least.
void fold(Spectrum& cepstrum, std::size_t n)
{
    for (std::size_t i = 1; i < n; ++i) cepstrum[i] *= 2.0;
    std::fill(cepstrum.begin() + static_cast<std::ptrdiff_t>(n) + 1, cepstrum.end(), 0.0);
}

} // namespace

std::vector<double> minimumPhase(const std::vector<double>& taps)
{
    const std::size_t n = taps.size();
    if (n == 0) return {};
    FftPlan plan(2 * n);
    Spectrum data(2 * n);
    std::copy(taps.begin(), taps.end(), data.begin());

    plan.forward(data.data());
    for (auto& bin : data) bin = std::log(std::max(std::abs(bin), 1e-12));
    inverse(plan, data);
    fold(data, n);
    plan.forward(data.data());
    for (auto& bin : data) bin = std::polar(std::exp(bin.real()), bin.imag());
    inverse(plan, data);

    std::vector<double> result(n);
    for (std::size_t i = 0; i < n; ++i) result[i] = data[i].real();
    return result;
}

} // namespace tesk
