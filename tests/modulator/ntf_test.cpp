#include "modulator/ntf_designer.h"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <stdexcept>

namespace tesk::modulator {
namespace {

std::complex<double> response(const std::vector<Sos>& sections, double omega)
{
    const auto z1 = std::polar(1.0, -omega), z2 = z1 * z1;
    std::complex<double> h = 1;
    for (const Sos& s : sections) h *= (s.b0 + s.b1 * z1 + s.b2 * z2) / (1.0 + s.a1 * z1 + s.a2 * z2);
    return h;
}

double textOf(int order, std::string& text)
{
    try {
        return designNtf(order).peakDb;
    } catch (const std::invalid_argument& error) {
        text = error.what();
        return 0;
    }
}

// Order 3: one biquad, zero at 0.1 degrees with radius 0.86, pole at 2.7 degrees with radius 0.97.
TEST(NtfDesign, OrderThreeIsTheLowestRungOfTheLadder)
{
    const auto ntf = designNtf(3);
    ASSERT_EQ(ntf.sections.size(), 2U);
    EXPECT_EQ(ntf.sections[0].a1, -0.66);
    const Sos& biquad = ntf.sections[1];
    EXPECT_NEAR(biquad.b1, -2 * 0.86 * std::cos(0.1 * M_PI / 180), 1e-15);
    EXPECT_NEAR(biquad.b2, 0.86 * 0.86, 1e-15);
    EXPECT_NEAR(biquad.a1, -2 * 0.97 * std::cos(2.7 * M_PI / 180), 1e-15);
    EXPECT_NEAR(biquad.a2, 0.97 * 0.97, 1e-15);
}

// The peaks that the designed orders are known for, and the one of the profile; found here on a grid of its own.
TEST(NtfDesign, PeaksAreThoseOfTheLadder)
{
    const double expected[] = {0.91, 2.06, 2.42, 3.44, 3.45};
    for (int i = 0; i < 5; ++i) {
        const auto ntf = designNtf(3 + 2 * i);
        EXPECT_NEAR(ntf.peakDb, expected[i], 0.006) << ntf.order;
        double largest = 0;
        for (int k = 1; k <= 20000; ++k)
            largest = std::max(largest, std::abs(response(ntf.sections, M_PI * k / 20000)));
        EXPECT_NEAR(ntf.peakDb, 20 * std::log10(largest), 0.01);
    }
    EXPECT_NEAR(measureNtfPeak(ns15Profile(), 40000), 4.44, 0.006);
    EXPECT_NEAR(measureNtfPeak(ns15Profile(), 0), -300, 1e-9);
}

// 20 kHz at DSD64 is 2.55 degrees: below it lie all zeros, rising; all poles lie inside the circle.
TEST(NtfDesign, ProfileHasItsZerosInTheAudioBandAndStablePoles)
{
    const auto& profile = ns15Profile();
    double below = 0;
    for (std::size_t k = 1; k < profile.size(); ++k) {
        const double angle = std::acos(-profile[k].b1 / (2 * std::sqrt(profile[k].b2))) * 180 / M_PI;
        EXPECT_GT(angle, below);
        EXPECT_LT(angle, 360 * 20000 / 2822400.0);
        EXPECT_LT(profile[k].a2, 1.0);
        EXPECT_LT(std::fabs(profile[k].a1), 1 + profile[k].a2);
        below = angle;
    }
}

TEST(NtfDesign, RefusesOrdersItWasNotMeasuredFor)
{
    for (const int order : {0, -3, 4, 12}) {
        std::string text;
        textOf(order, text);
        EXPECT_EQ(text, "NTF order must be a positive odd number") << order;
    }
    for (const int order : {1, 13, 25}) {
        std::string text;
        textOf(order, text);
        EXPECT_EQ(text.rfind("NTF order out of the verified range [3, 11]: ", 0), 0U) << order;
    }
}

} // namespace
} // namespace tesk::modulator
