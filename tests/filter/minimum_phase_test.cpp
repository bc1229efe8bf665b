#include "filter/minimum_phase.h"

#include "filter/fft.h"
#include "filter/window_design.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

namespace tesk {
namespace {

/// The same magnitude four ways: pairs of zeros within the unit circle, and some of them mirrored at it.
std::vector<double> withZeros(const std::vector<std::complex<double>>& zeros, unsigned mirrored)
{
    std::vector<double> h{1.0};
    for (std::size_t i = 0; i < zeros.size(); ++i) {
        double section[] = {1.0, -2.0 * zeros[i].real(), std::norm(zeros[i])};
        if (mirrored >> i & 1u) std::swap(section[0], section[2]);
        std::vector<double> next(h.size() + 2, 0.0);
        for (std::size_t n = 0; n < h.size(); ++n)
            for (std::size_t k = 0; k < 3; ++k) next[n + k] += h[n] * section[k];
        h = next;
    }
    h.resize(128, 0.0);
    return h;
}

std::vector<double> partialEnergies(const std::vector<double>& h)
{
    std::vector<double> sums;
    for (double sum = 0.0; const double tap : h) sums.push_back(sum += tap * tap);
    return sums;
}

std::vector<double> decibels(const std::vector<double>& h)
{
    std::vector<std::complex<double>> x(4 * h.size());
    std::copy(h.begin(), h.end(), x.begin());
    FftPlan(x.size()).forward(x.data());
    std::vector<double> db;
    for (std::size_t k = 0; k <= x.size() / 2; ++k) db.push_back(20 * std::log10(std::abs(x[k]) + 1e-30));
    return db;
}

} // namespace

// Zeros no nearer to the circle than 0.8 leave nothing of the cepstrum beyond its 256 points (0.8^128 = 4e-13).
TEST(MinimumPhase, FindsTheOneFilterWithAllZerosWithin)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> radius(0.1, 0.8), angle(0.0, M_PI);
    for (unsigned round = 0; round < 16; ++round) {
        std::vector<std::complex<double>> zeros;
        for (int i = 0; i < 6; ++i) zeros.push_back(std::polar(radius(random), angle(random)));
        const std::vector<double> expected = withZeros(zeros, 0);
        const std::vector<double> given = withZeros(zeros, round * 4 + 3);
        const std::vector<double> found = minimumPhase(given);
        ASSERT_EQ(found.size(), given.size());
        const std::vector<double> early = partialEnergies(found), late = partialEnergies(given);
        for (std::size_t n = 0; n < found.size(); ++n) {
            EXPECT_NEAR(found[n], expected[n], 1e-9) << round << " " << n;
            EXPECT_GE(early[n], late[n] - 1e-9) << round << " " << n;
        }
    }
    EXPECT_TRUE(minimumPhase({}).empty());
    for (const double tap : minimumPhase(std::vector<double>(8, 0.0))) EXPECT_NEAR(tap, 0.0, 1e-11);
}

// The oversampler's own filter, with the zeros of its stopband on the circle: a tolerance, an early impulse, and energy
// no later than the symmetric filter's.
TEST(MinimumPhase, KeepsThePassbandOfTheOversampler)
{
    FilterRequest r;
    r.bitDepth = 16;
    r.predistortion = false;
    CollectingReporter report;
    std::atomic<std::uint8_t> flag{0};
    StopFlag stop(flag);
    const std::vector<double> linear = *designWindowFilter(*settleFilter(r, report), report, stop);
    std::vector<double> early = minimumPhase(linear);
    const double sum = std::accumulate(early.begin(), early.end(), 0.0);
    for (double& tap : early) tap /= sum;

    const std::vector<double> was = decibels(linear), is = decibels(early);
    const double hz = 64 * 44100.0 / 4 / static_cast<double>(linear.size());
    for (std::size_t k = 0; static_cast<double>(k) * hz < 20000.0; ++k)
        ASSERT_NEAR(is[k] - is[0], was[k] - was[0], 0.4) << k;
    // From outside: another implementation of the method finds the peak at tap 236.
    EXPECT_NEAR(static_cast<double>(std::max_element(early.begin(), early.end()) - early.begin()), 236.0, 2.0);
    const std::vector<double> earlySums = partialEnergies(early), linearSums = partialEnergies(linear);
    for (std::size_t n = 0; n < linear.size(); ++n)
        ASSERT_GE(earlySums[n] / earlySums.back(), linearSums[n] / linearSums.back() - 1e-6) << n;
}

} // namespace tesk
