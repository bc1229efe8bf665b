#include "filter/fft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

using Complex = std::complex<double>;
using Points = std::vector<Complex>;

namespace {

Points noise(std::size_t n, unsigned seed = 1)
{
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    Points x(n);
    for (auto& v : x) v = {value(random), value(random)};
    return x;
}

/// The definition, in long double so that its own error does not count.
Points naiveDft(const Points& x, int sign)
{
    const std::size_t n = x.size();
    std::vector<std::complex<long double>> turn(n);
    for (std::size_t i = 0; i < n; ++i) {
        const long double angle = sign * 2.0L * std::numbers::pi_v<long double> * static_cast<long double>(i) / n;
        turn[i] = {std::cos(angle), std::sin(angle)};
    }
    Points result(n);
    for (std::size_t k = 0; k < n; ++k) {
        std::complex<long double> sum;
        for (std::size_t i = 0; i < n; ++i) sum += std::complex<long double>(x[i]) * turn[i * k % n];
        result[k] = Complex(sum);
    }
    return result;
}

double worstDifference(const Points& a, const Points& b)
{
    double worst = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) worst = std::max(worst, std::abs(a[i] - b[i]));
    return worst;
}

} // namespace

// Both log2 parities, primes, even composites and odd squares, forward and back.
TEST(Fft, AgreesWithTheDefinitionForEveryKindOfLength)
{
    for (std::size_t n : {1,  2,  3,  4,   5,   6,   7,   8,   9,   12,  15,   16,   17,   31,   32,
                          49, 64, 97, 100, 128, 243, 256, 360, 509, 512, 1000, 1022, 1024, 1151, 2048}) {
        const Points x = noise(n, static_cast<unsigned>(n));
        tesk::FftPlan plan(n);
        const double allowed = 2e-15 * std::sqrt(static_cast<double>(n)) * std::log2(2.0 + static_cast<double>(n));
        Points there = x;
        plan.forward(there.data());
        EXPECT_LT(worstDifference(there, naiveDft(x, -1)), allowed) << n;
        Points back = x;
        plan.inverse(back.data());
        EXPECT_LT(worstDifference(back, naiveDft(x, +1)), allowed) << n;
    }
}

// The lengths that a naive transform cannot reach, on both sides of the parallel threshold. A wrong root in one pass
// sends the energy of a sine to other bins.
TEST(Fft, LongTransformsReturnToTheirInputAndASineFillsOneBin)
{
    for (std::size_t n : {1u << 14, 1u << 15, 1u << 16, 1u << 17, 1u << 18, 90000u, 100003u, 1u << 19, 1u << 20}) {
        const Points x = noise(n);
        Points y = x;
        tesk::FftPlan plan(n);
        plan.forward(y.data());
        plan.inverse(y.data());
        for (auto& v : y) v /= static_cast<double>(n);
        EXPECT_LT(worstDifference(x, y), 1e-14) << n;

        const std::size_t bin = 12345;
        for (std::size_t i = 0; i < n; ++i)
            y[i] = std::polar(1.0, 2.0 * std::numbers::pi * static_cast<double>(i * bin % n) / static_cast<double>(n));
        plan.forward(y.data());
        EXPECT_NEAR(std::abs(y[bin] / static_cast<double>(n) - 1.0), 0.0, 1e-14) << n;
        y[bin] = 0.0;
        EXPECT_LT(worstDifference(y, Points(n)) / static_cast<double>(n), 1e-15) << n;
    }
}

TEST(Fft, RootsLieExactlyOnTheAxesAndMirror)
{
    for (std::size_t n : {4u, 8u, 12u, 1000u, 1u << 20}) {
        EXPECT_EQ(tesk::unitRoot(0, n), Complex(1, 0));
        EXPECT_EQ(tesk::unitRoot(n / 4, n), Complex(0, -1));
        EXPECT_EQ(tesk::unitRoot(n / 2, n), Complex(-1, 0));
        EXPECT_EQ(tesk::unitRoot(3 * n / 4, n), Complex(0, 1));
        for (std::size_t k = 1; k < n; k += 1 + n / 100) {
            EXPECT_EQ(tesk::unitRoot(k, n), std::conj(tesk::unitRoot(n - k, n)));
            const long double angle = -2 * std::numbers::pi_v<long double> * static_cast<long double>(k) / n;
            EXPECT_LE(std::abs(tesk::unitRoot(k, n).real() - std::cos(angle)), 1.2e-16L) << k;
            EXPECT_LE(std::abs(tesk::unitRoot(k, n).imag() - std::sin(angle)), 1.2e-16L) << k;
        }
    }
}
