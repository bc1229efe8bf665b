#include "reverse/pcm_noise_shaper.h"

#include <algorithm>
#include <cmath>

namespace tesk {
namespace {

/// From here on a double has no room for a fraction worth rounding.
constexpr double kNoFraction = 0x1p51;

/// Nearest integer, halves away from zero; itself when |v| ≥ 2⁵¹.
double nearestInteger(double v)
{
    if (!(std::fabs(v) < kNoFraction)) return v;
    // Adding 1.5·2⁵² pushes the fraction out: a third of the delay of std::round, but halves go to the even neighbour.
    const double n = (v + 3 * kNoFraction) - 3 * kNoFraction;
    const double rest = v - n;
    if (std::fabs(rest) == 0.5 && std::signbit(rest) == std::signbit(v)) return n + std::copysign(1.0, v);
    return n;
}

} // namespace

PcmNoiseShaper::PcmNoiseShaper(const modulator::UnifiedNoiseShaper& design, std::uint32_t bits)
    : scale_(std::ldexp(1.0, static_cast<int>(bits) - 1) - 1.0), limit_(std::ldexp(1.0, design.order())),
      history_(static_cast<std::size_t>(design.order()) + 1, 0.0)
{
    const std::vector<double> numerator = design.numerator(), denominator = design.denominator();
    for (std::size_t k = 1; k < numerator.size(); ++k) {
        toInput_.push_back(denominator[k] - numerator[k]);
        toHistory_.push_back(-denominator[k]);
    }
}

// Everything in steps, so that the way from one sample to the next has no division.
void PcmNoiseShaper::process(double* samples, std::size_t frames)
{
    double* const h = history_.data();
    const std::size_t order = toInput_.size();
    for (std::size_t i = 0; i < frames; ++i) {
        const double x = samples[i] * scale_;
        double u = x, b = 0;
        for (std::size_t k = order; k-- > 0;) { // the newest last: it is the one to be waited for
            u += toInput_[k] * h[k];
            b += toHistory_[k] * h[k];
            h[k + 1] = h[k]; // one by one: a block copy would make the next sample wait
        }
        if (!(std::fabs(u - x) < limit_)) { // also when x is NaN or infinite
            std::fill_n(h, order + 1, 0.0);
            u = std::isfinite(x) ? x : 0.0;
            b = 0;
        }
        const double n = nearestInteger(u);
        h[0] = (u - n) + b;
        samples[i] = n / scale_;
    }
}

} // namespace tesk
