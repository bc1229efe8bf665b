#include "modulator/unified_noise_shaper.h"

#include "engine/base/reporter.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace tesk::modulator {
namespace {

using Polynomial = std::vector<double>; ///< coefficients of z⁰, z⁻¹, z⁻², …

Polynomial product(const Polynomial& p, const Polynomial& q)
{
    Polynomial result(p.size() + q.size() - 1, 0.0);
    for (std::size_t i = 0; i < p.size(); ++i)
        for (std::size_t k = 0; k < q.size(); ++k) result[i + k] += p[i] * q[k];
    return result;
}

// Every range is asked for in the positive, so that a NaN is outside of it.
void checkZeros(const std::vector<double>& zeros)
{
    if (zeros.empty()) throw std::invalid_argument("Zero vector cannot be empty");
    if (!std::all_of(zeros.begin(), zeros.end(), [](double z) { return z >= 0.0 && z <= 1.0; }))
        throw std::invalid_argument("Zeros must be in [0.0, 1.0]");
}

void checkPole(double pole)
{
    if (!(std::fabs(pole) < 1.0)) throw std::invalid_argument("Pole magnitude must be in [0.0, 1.0)");
}

std::vector<double> zeroAngles(const std::vector<double>& zeros, int oversampling)
{
    if (oversampling < 1) throw std::invalid_argument("Invalid oversampling rate");
    std::vector<double> angles;
    angles.reserve(zeros.size());
    for (double z : zeros) angles.push_back(std::numbers::pi * z / oversampling);
    return angles;
}

/// At half the sample rate, where the noise is loudest, the gain of order K is (2 / (1 + q))^K for zeros near DC. A
/// one-bit loop of order 9 bears 4.45 dB there, which is the least q it is given.
double poleRadius(double pole, std::size_t order)
{
    const double wanted = std::fabs(pole);
    return order == 9 ? std::max(wanted, 2.0 * std::pow(10.0, -4.45 / (20 * 9)) - 1.0) : wanted;
}

} // namespace

UnifiedNoiseShaper::UnifiedNoiseShaper(const std::vector<double>& zeros, double pole, int oversampling)
{
    checkZeros(zeros);
    checkPole(pole);
    angles_ = zeroAngles(zeros, oversampling);
    const std::size_t order = 2 * zeros.size() + 1;
    poles_.assign(order, poleRadius(pole, order));
}

UnifiedNoiseShaper::UnifiedNoiseShaper(const std::vector<double>& zeros, const std::vector<double>& poles,
                                       int oversampling)
{
    checkZeros(zeros);
    for (double pole : poles) checkPole(pole);
    angles_ = zeroAngles(zeros, oversampling);
    const std::size_t order = 2 * zeros.size() + 1;
    if (poles.size() != order)
        throw std::invalid_argument(
            format("pole count %d != order %d", static_cast<int>(poles.size()), static_cast<int>(order)));
    poles_.reserve(order);
    for (double pole : poles) poles_.push_back(std::fabs(pole));
}

/// Π (1 − 2·cos θ·z⁻¹ + z⁻²) · (1 − z⁻¹): a pair on the unit circle per zero, and one zero at DC.
std::vector<double> UnifiedNoiseShaper::numerator() const
{
    Polynomial n{1.0, -1.0};
    for (double angle : angles_) n = product(n, {1.0, -2.0 * std::cos(angle), 1.0});
    return n;
}

/// Π (1 − q·z⁻¹).
std::vector<double> UnifiedNoiseShaper::denominator() const
{
    Polynomial d{1.0};
    for (double pole : poles_) d = product(d, {1.0, -pole});
    return d;
}

std::vector<kernel::Sos> UnifiedNoiseShaper::sections() const
{
    std::vector<kernel::Sos> sections{{1.0, -1.0, 0.0, -poles_[0], 0.0}};
    for (std::size_t k = 0; k < angles_.size(); ++k) {
        const double p = poles_[2 * k + 1], q = poles_[2 * k + 2];
        sections.push_back({1.0, -2.0 * std::cos(angles_[k]), 1.0, -(p + q), p * q});
    }
    return sections;
}

} // namespace tesk::modulator
