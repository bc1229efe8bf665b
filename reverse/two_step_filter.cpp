#include "reverse/two_step_filter.h"

#include "filter/fft.h"
#include "filter/windows.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <optional>

namespace tesk {
namespace {

using Spectrum = std::vector<std::complex<double>>;

/// Frequencies of the design: bin k is k / (bins·stride) of the sample rate, bins/2 the fold of the rate between the
/// steps.
struct Grid {
    std::size_t stride, bins;
    FftPlan wide, narrow;

    Grid(std::size_t length, std::size_t step)
        : stride(step), bins(binsFor(length, step)), wide(bins * step), narrow(bins)
    {
    }
    static std::size_t binsFor(std::size_t length, std::size_t step)
    {
        std::size_t bins = 64;
        while (bins * step < 2 * (length + 32 * step)) bins *= 2; // the inverse transform must not run into itself
        return bins;
    }
    /// Up to the fold.
    Spectrum spectrumOf(const std::vector<double>& taps)
    {
        Spectrum full(bins * stride);
        std::copy(taps.begin(), taps.end(), full.begin());
        wide.forward(full.data());
        full.resize(bins / 2 + 1);
        return full;
    }
};

double largest(const Spectrum& s, std::size_t first)
{
    double top = 0;
    for (std::size_t k = first; k < s.size(); ++k) top = std::max(top, std::abs(s[k]));
    return top;
}

/// A Kaiser window of DC gain 1 with its first zero at `edge`, as a fraction of the sample rate; empty when it is too
/// short for that. Source: Kaiser and Schafer, On the use of the I0-sinh window for spectrum analysis (1980).
std::vector<double> windowWithZeroAt(double edge, std::size_t taps)
{
    const double lobe = edge * static_cast<double>(taps);
    if (lobe <= 1) return {};
    std::vector<double> p =
        dsp_utils::signal_processing::generate_kaiser_window(taps, std::numbers::pi * std::sqrt(lobe * lobe - 1));
    double sum = 0;
    for (const double v : p) sum += v;
    for (double& v : p) v /= sum;
    return roundedForExactSums(std::move(p));
}

/// H / P as a filter at the lower rate, [bins], index 0 at the output's instant, the future at the end. Towards the
/// fold it is faded out: a step there would ring through the whole filter.
std::vector<double> quotient(Grid& grid, const Spectrum& h, const Spectrum& p)
{
    const std::size_t n = grid.bins;
    Spectrum q(n);
    for (std::size_t k = 0; k <= n / 2; ++k) {
        const double place = 2 * static_cast<double>(k) / static_cast<double>(n),
                     fade = std::clamp(4 * place - 3, 0.0, 1.0);
        q[k] = h[k] / p[k] * (0.5 + 0.5 * std::cos(std::numbers::pi * fade));
        if (k > 0) q[n - k] = std::conj(q[k]);
    }
    grid.narrow.inverse(q.data());
    std::vector<double> taps(n);
    std::transform(q.begin(), q.end(), taps.begin(), [n](const auto& v) { return v.real() / static_cast<double>(n); });
    return taps;
}

/// How many values at the front of a list add up to nothing.
template <class Iterator>
std::size_t negligible(Iterator first, Iterator last)
{
    constexpr double nothing = 1e-13;
    double sum = 0;
    std::size_t n = 0;
    for (; first + 1 != last && (sum += std::abs(*first)) < nothing; ++first) ++n;
    return n;
}

/// Takes from the circular quotient what may be used and matters.
void cutSecondStep(TwoStepFilter& filter, const std::vector<double>& q, std::size_t lead)
{
    const std::size_t n = q.size(), past = n / 4 * 3;
    std::vector<double> taps; // future first
    for (std::size_t t = 0; t < lead + past; ++t) taps.push_back(q[(n + t - lead) % n]);
    const std::size_t front = std::min(lead, negligible(taps.begin(), taps.end()));
    taps.erase(taps.begin(), taps.begin() + static_cast<std::ptrdiff_t>(front));
    taps.resize(taps.size() - negligible(taps.rbegin(), taps.rend()));
    filter.lead = lead - front;
    filter.second.assign(taps.rbegin(), taps.rend());
}

double errorOf(const TwoStepFilter& filter, const std::vector<double>& response)
{
    const std::size_t lead = filter.lead * filter.stride, values = filter.second.size();
    std::vector<double> rest(std::max(lead + response.size(), values * filter.stride + filter.first.size()));
    std::copy(response.begin(), response.end(), rest.begin() + static_cast<std::ptrdiff_t>(lead));
    for (std::size_t t = 0; t < values; ++t) {
        double* at = rest.data() + (values - 1 - t) * filter.stride;
        for (std::size_t m = 0; m < filter.first.size(); ++m) at[m] -= filter.second[t] * filter.first[m];
    }
    double sum = 0;
    for (const double v : rest) sum += std::abs(v);
    return sum;
}

std::optional<TwoStepFilter> designWithStride(const std::vector<double>& response, std::size_t stride,
                                              std::size_t lookahead)
{
    constexpr double negligibleGain = 1e-6; // an alias of what lies below needs no full suppression
    constexpr std::size_t shortest = 9, longest = 13;
    Grid grid(response.size(), stride);
    const Spectrum h = grid.spectrumOf(response);
    if (largest(h, grid.bins / 20 * 9) > kTwoStepErrorBound / 4) return {}; // seldom wrong, and only costs speed
    std::size_t edge = grid.bins / 2;
    while (edge > 0 && std::abs(h[edge]) < negligibleGain) --edge;
    const double aliases = 1 - static_cast<double>(edge + 1) / static_cast<double>(grid.bins); // of the lower rate
    for (std::size_t strides = shortest; strides <= longest; ++strides) {
        TwoStepFilter filter;
        filter.stride = stride;
        filter.first = windowWithZeroAt(aliases / static_cast<double>(stride), strides * stride);
        if (filter.first.empty()) continue;
        cutSecondStep(filter, quotient(grid, h, grid.spectrumOf(filter.first)), lookahead / stride);
        filter.error = errorOf(filter, response);
        if (filter.error <= kTwoStepErrorBound) return filter;
    }
    return {};
}

TwoStepFilter direct(const std::vector<double>& response, std::size_t decimation)
{
    TwoStepFilter filter;
    filter.stride = decimation;
    filter.first = response;
    filter.first.resize((response.size() + 7) / 8 * 8);
    filter.first = roundedForExactSums(std::move(filter.first));
    filter.second = {1};
    filter.error = errorOf(filter, response);
    return filter;
}

} // namespace

std::vector<double> roundedForExactSums(std::vector<double> taps)
{
    double sum = 0;
    for (const double v : taps) sum += std::abs(v);
    if (!(sum > 0)) return taps;
    // No partial sum reaches 2^(e+1), e = ⌊log2 sum⌋, by more than rounding; 2^53 steps of the grid reach beyond it.
    const int places = 51 - std::ilogb(sum);
    for (double& v : taps) v = std::ldexp(std::nearbyint(std::ldexp(v, places)), -places);
    return taps;
}

TwoStepFilter designTwoStep(const std::vector<double>& response, std::size_t decimation, std::size_t lookahead)
{
    for (std::size_t stride = decimation / 2 / 8 * 8; stride >= 8; stride -= 8) {
        if (decimation % stride != 0) continue;
        if (auto filter = designWithStride(response, stride, lookahead)) return *filter;
    }
    return direct(response, decimation);
}

} // namespace tesk
