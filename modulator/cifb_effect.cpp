#include "modulator/cifb_effect.h"

#include <cmath>
#include <complex>
#include <numbers>

namespace tesk::modulator {
namespace {

using Real = long double; // eleven poles near 1
using Complex = std::complex<Real>;

constexpr Real kNyquistGain = 1.4L;

/// Poles of the Butterworth high-pass by the bilinear transform; `corner` is tan(π·fc/fs).
std::vector<Complex> butterworthPoles(int order, Real corner)
{
    std::vector<Complex> poles;
    for (int k = 0; k < order; ++k) {
        const Real angle =
            std::numbers::pi_v<Real> * static_cast<Real>(2 * k + order + 1) / static_cast<Real>(2 * order);
        const Complex s = std::polar(corner, angle);
        poles.push_back((1.0L + s) / (1.0L - s));
    }
    return poles;
}

/// |1 − z⁻¹|^N / |D| at z = −1.
Real nyquistGain(const std::vector<Complex>& poles)
{
    Real gain = 1;
    for (const Complex& p : poles) gain *= 2 / std::abs(1.0L + p);
    return gain;
}

/// The higher the corner, the larger the gain.
std::vector<Complex> polesOfGain(int order, Real gain)
{
    Real low = 0, high = 1;
    for (int i = 0; i < 80; ++i) {
        const Real middle = (low + high) / 2;
        (nyquistGain(butterworthPoles(order, middle)) < gain ? low : high) = middle;
    }
    return butterworthPoles(order, low);
}

} // namespace

int cifbOrder(int order) { return order >= 4 && order <= 11 ? order : 4; }

std::vector<double> cifbCoefficients(int order)
{
    const auto n = static_cast<std::size_t>(order);
    // D in powers of w, lowest first: a pole's factor 1 − p·z⁻¹ is (1 − p) + p·w.
    std::vector<Complex> d{1.0L};
    for (const Complex& p : polesOfGain(order, kNyquistGain)) {
        d.push_back(0.0L);
        for (std::size_t k = d.size(); k-- > 0;) d[k] = d[k] * (1.0L - p) + (k > 0 ? d[k - 1] * p : Complex{});
    }
    // Σ c_m w^(N−m) = (D − w^N) / (1 − w), by the running sum of the coefficients.
    std::vector<Real> c(n + 1);
    Real sum = 0;
    for (std::size_t k = 0; k < n; ++k) c[n - k] = sum += d[k].real();
    std::vector<double> a(n);
    for (std::size_t m = 1; m <= n; ++m) a[n - m] = static_cast<double>(m == 1 ? c[1] : c[m] / c[m - 1]);
    return a;
}

std::vector<kernel::Sos> cifbSections(int order)
{
    const std::vector<Complex> poles = polesOfGain(order, kNyquistGain);
    std::vector<kernel::Sos> sections;
    for (std::size_t k = 0; 2 * k < poles.size(); ++k) { // pole k and its conjugate, the last but k
        const Complex p = poles[k];
        if (2 * k + 1 == poles.size())
            sections.push_back({1.0, -1.0, 0.0, static_cast<double>(-p.real()), 0.0});
        else
            sections.push_back({1.0, -2.0, 1.0, static_cast<double>(-2 * p.real()), static_cast<double>(std::norm(p))});
    }
    return sections;
}

} // namespace tesk::modulator

namespace p2p::effect {

CifbEffect::CifbEffect(int order, const tesk::kernel::KernelTable& kernels, tesk::parallel::WorkerPool& pool)
    : ErrorFeedbackStage(
          tesk::kernel::ErrorFeedbackLoop::ofIntegrators(
              tesk::modulator::cifbCoefficients(tesk::modulator::cifbOrder(order)), tesk::modulator::kRestartingLoop),
          kernels, pool),
      order_(tesk::modulator::cifbOrder(order))
{
}

double CifbEffect::delay() const
{
    double samples = 0;
    for (const tesk::kernel::Sos& section : noiseTransferFunction())
        samples -= (section.a1 + 2 * section.a2) / (1 + section.a1 + section.a2);
    return samples;
}

} // namespace p2p::effect
