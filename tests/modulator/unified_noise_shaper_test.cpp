#include "modulator/unified_noise_shaper.h"

#include <cmath>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>

namespace tesk::modulator {
namespace {

void expectNear(const std::vector<double>& p, const std::vector<double>& q)
{
    ASSERT_EQ(p.size(), q.size());
    for (std::size_t k = 0; k < p.size(); ++k) EXPECT_NEAR(p[k], q[k], 1e-15) << k;
}

// Angles whose cosines are known, multiplied out by hand.
TEST(UnifiedNoiseShaper, HasItsZerosInTheBandAndAllItsPolesAtOnePlace)
{
    expectNear(UnifiedNoiseShaper({1.0}, 0.5, 2).numerator(), {1, -1, 1, -1});         // a right angle
    expectNear(UnifiedNoiseShaper({2.0 / 3}, 0.5, 2).numerator(), {1, -2, 2, -1});     // 60 degrees
    expectNear(UnifiedNoiseShaper({0, 1}, 0.5, 1).numerator(), {1, -1, -2, 2, 1, -1}); // (1 − z⁻²)²·(1 − z⁻¹)
    expectNear(UnifiedNoiseShaper({1}, -0.5, 64).denominator(), {1, -1.5, 0.75, -0.125});
    expectNear(UnifiedNoiseShaper({1, 0.2}, 0.0, 64).denominator(), {1, 0, 0, 0, 0, 0});
}

// With all zeros at DC order 9 is loudest at half the sample rate: there it has 4.45 dB, or less by a larger pole.
TEST(UnifiedNoiseShaper, OrderNineIsHeldToItsGain)
{
    for (const auto& [pole, expectedDb] : {std::pair{0.0, 4.45}, {-0.85, 4.45}, {0.9, 180 * std::log10(2 / 1.9)}}) {
        const double radius = UnifiedNoiseShaper({0, 0, 0, 0}, pole, 64).denominator()[1] / -9;
        EXPECT_NEAR(9 * 20 * std::log10(2 / (1 + radius)), expectedDb, 1e-9);
    }
}

std::string refusal(const std::vector<double>& zeros, double pole, int oversampling)
{
    try {
        UnifiedNoiseShaper(zeros, pole, oversampling);
        return "taken";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

TEST(UnifiedNoiseShaper, RefusesInTheOrderOfItsChecks)
{
    const double nan = std::nan("");
    EXPECT_EQ(refusal({}, 2, 0), "Zero vector cannot be empty");
    for (double bad : {1.01, -0.01, nan}) EXPECT_EQ(refusal({0.5, bad}, 2, 0), "Zeros must be in [0.0, 1.0]");
    for (double bad : {1.0, -1.0, nan}) EXPECT_EQ(refusal({0.5}, bad, 0), "Pole magnitude must be in [0.0, 1.0)");
    EXPECT_EQ(refusal({0.5}, 0.85, 0), "Invalid oversampling rate");
}

} // namespace
} // namespace tesk::modulator
