#include "filter/minimum_phase.h"

#include "filter/prototype_design.h"
#include "tests/filter/filter_fixture.h"

namespace tesk {
namespace {

/// The same magnitude four ways: pairs of zeros within the unit circle, and some of them mirrored at it.
Taps withZeros(const std::vector<std::complex<double>>& zeros, unsigned mirrored)
{
    Taps h{1.0};
    for (std::size_t i = 0; i < zeros.size(); ++i) {
        double section[] = {1.0, -2.0 * zeros[i].real(), std::norm(zeros[i])};
        if (mirrored >> i & 1u) std::swap(section[0], section[2]);
        Taps next(h.size() + 2, 0.0);
        for (std::size_t n = 0; n < h.size(); ++n)
            for (std::size_t k = 0; k < 3; ++k) next[n + k] += h[n] * section[k];
        h = next;
    }
    h.resize(128, 0.0);
    return h;
}

Taps partialEnergies(const Taps& h)
{
    Taps sums;
    for (double sum = 0.0; const double tap : h) sums.push_back(sum += tap * tap);
    return sums;
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
        const Taps expected = withZeros(zeros, 0);
        const Taps given = withZeros(zeros, round * 4 + 3);
        const Taps found = minimumPhase(given);
        ASSERT_EQ(found.size(), given.size());
        const Taps early = partialEnergies(found), late = partialEnergies(given);
        for (std::size_t n = 0; n < found.size(); ++n) {
            EXPECT_NEAR(found[n], expected[n], 1e-9) << round << " " << n;
            EXPECT_GE(early[n], late[n] - 1e-9) << round << " " << n;
        }
    }
    EXPECT_TRUE(minimumPhase({}).empty());
    for (const double tap : minimumPhase(Taps(8, 0.0))) EXPECT_NEAR(tap, 0.0, 1e-11);
}

// The oversampler's own filter, with the zeros of its stopband on the circle, by both ways of asking: a tolerance, an
// early impulse, and energy no later than the symmetric filter's.
TEST(PrototypeDesign, MinimumPhaseKeepsThePassbandOfTheOversampler)
{
    const Taps linear = design(designWindowFilter, settled(cdRequest())).taps;
    for (const bool byType : {false, true}) {
        FilterRequest r = cdRequest();
        r.minimumPhase = !byType;
        if (byType) r.filterType = filterMinimumPhase;
        const Design d = design(designPrototype, settled(r));
        EXPECT_EQ(d.text, "Report              \tUnused PreDistortion\nReport              \tDo Kaiser window\n"
                          "Beta:               \t6.000000\nReport              \tDo MinMumPhase of Tesk\n");
        ASSERT_EQ(d.taps.size(), linear.size());
        EXPECT_NEAR(std::accumulate(d.taps.begin(), d.taps.end(), 0.0), 1.0, 1e-12);
        const auto was = responses(linear, 4), is = responses(d.taps, 4);
        const double hz = 64 * 44100.0 / 4 / static_cast<double>(linear.size());
        for (std::size_t k = 0; static_cast<double>(k) * hz < 20000.0; ++k)
            ASSERT_NEAR(decibels(is[k] / is[0]), decibels(was[k] / was[0]), 0.4) << k;
        // From outside: another implementation of the method finds the peak at tap 236.
        EXPECT_NEAR(static_cast<double>(std::max_element(d.taps.begin(), d.taps.end()) - d.taps.begin()), 236.0, 2.0);
        const Taps earlySums = partialEnergies(d.taps), linearSums = partialEnergies(linear);
        for (std::size_t n = 0; n < linear.size(); ++n)
            ASSERT_GE(earlySums[n] / earlySums.back(), linearSums[n] / linearSums.back() - 1e-6) << n;
    }
}

} // namespace tesk
