#include "modulator/unified_noise_shaper.h"

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
void check(const std::vector<double>& zeros, double pole, int oversampling)
{
    if (zeros.empty()) throw std::invalid_argument("Zero vector cannot be empty");
    if (!std::all_of(zeros.begin(), zeros.end(), [](double z) { return z >= 0.0 && z <= 1.0; }))
        throw std::invalid_argument("Zeros must be in [0.0, 1.0]");
    if (!(std::fabs(pole) < 1.0)) throw std::invalid_argument("Pole magnitude must be in [0.0, 1.0)");
    if (oversampling < 1) throw std::invalid_argument("Invalid oversampling rate");
}

/// Π (1 − 2·cos θ·z⁻¹ + z⁻²) · (1 − z⁻¹): a pair on the unit circle per zero, and one zero at DC.
Polynomial numeratorOf(const std::vector<double>& zeros, int oversampling)
{
    Polynomial n{1.0, -1.0};
    for (double z : zeros) n = product(n, {1.0, -2.0 * std::cos(std::numbers::pi * z / oversampling), 1.0});
    return n;
}

/// At half the sample rate, where the noise is loudest, the gain of order K is (2 / (1 + q))^K for zeros near DC. A
/// one-bit loop of order 9 bears 4.45 dB there, which is the least q it is given.
double poleRadius(double pole, int order)
{
    const double wanted = std::fabs(pole);
    return order == 9 ? std::max(wanted, 2.0 * std::pow(10.0, -4.45 / (20 * 9)) - 1.0) : wanted;
}

/// (1 − q·z⁻¹)^order.
Polynomial denominatorOf(double q, int order)
{
    Polynomial d{1.0};
    for (int k = 0; k < order; ++k) d = product(d, {1.0, -q});
    return d;
}

} // namespace

UnifiedNoiseShaper::UnifiedNoiseShaper(const std::vector<double>& zeros, double pole, int oversampling)
{
    check(zeros, pole, oversampling);
    numerator_ = numeratorOf(zeros, oversampling);
    denominator_ = denominatorOf(poleRadius(pole, order()), order());
}

} // namespace tesk::modulator
