#include "reverse/decimator.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tesk {
namespace {

/// The power series, to where its terms no longer matter.
double besselI0(double y)
{
    const double quarter = y * y / 4;
    double sum = 1, term = 1;
    for (int k = 1; term > sum * 1e-18; ++k) {
        term *= quarter / (static_cast<double>(k) * k);
        sum += term;
    }
    return sum;
}

/// One section in direct form I, wider than the signal so that the joint response carries no rounding of its own.
struct Section {
    Biquad c;
    long double x1 = 0, x2 = 0, y1 = 0, y2 = 0;

    long double step(long double x)
    {
        const long double y = c.b0 * x + c.b1 * x1 + c.b2 * x2 - c.a1 * y1 - c.a2 * y2;
        x2 = x1, x1 = x, y2 = y1, y1 = y;
        return y;
    }
    long double size() const { return std::max({std::abs(x1), std::abs(x2), std::abs(y1), std::abs(y2)}); }
};

} // namespace

Biquad designLowpass(double cornerHz, double sampleRate, double q)
{
    const double w = 2 * std::numbers::pi * cornerHz / sampleRate, alpha = std::sin(w) / (2 * std::max(q, 0.001));
    const double a0 = 1 + alpha, rise = 1 - std::cos(w);
    return {rise / 2 / a0, rise / a0, rise / 2 / a0, -2 * std::cos(w) / a0, (1 - alpha) / a0};
}

std::vector<double> designSinc(std::size_t taps, double cutoff, double beta)
{
    constexpr double pi = std::numbers::pi;
    const double center = (static_cast<double>(taps) - 1) / 2, scale = besselI0(beta);
    std::vector<double> h(taps);
    for (std::size_t k = 0; k < taps; ++k) {
        const double x = static_cast<double>(k) - center, t = center > 0 ? x / center : 0;
        const double sinc = std::abs(x) < 1e-12 ? 2 * cutoff : std::sin(2 * pi * cutoff * x) / (pi * x);
        h[k] = sinc * besselI0(beta * std::sqrt(std::max(0.0, 1 - t * t))) / scale;
    }
    return h;
}

std::vector<double> jointResponse(const DecimationPlan& plan)
{
    constexpr std::size_t mostTail = 1 << 20; // a pole on the unit circle would ring for ever
    std::vector<Section> sections(plan.sections,
                                  Section{designLowpass(plan.cornerHz, plan.dsdRate, 0.7071067811865475)});
    const auto filtered = [&](long double x) {
        for (Section& s : sections) x = s.step(x);
        return static_cast<double>(x);
    };
    std::vector<double> response;
    double peak = 0;
    for (auto h = plan.fir.rbegin(); h != plan.fir.rend(); ++h) {
        response.push_back(filtered(*h));
        peak = std::max(peak, std::abs(response.back()));
    }
    const auto rings = [&] {
        return std::any_of(sections.begin(), sections.end(),
                           [&](const Section& s) { return s.size() > 1e-18L * peak; });
    };
    while (rings() && response.size() < plan.fir.size() + mostTail) {
        response.push_back(filtered(0));
        peak = std::max(peak, std::abs(response.back()));
    }
    while (response.size() > 1 && std::abs(response.back()) < 1e-18 * peak) response.pop_back();
    return response;
}

} // namespace tesk
