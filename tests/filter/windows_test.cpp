#include "filter/windows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

using namespace dsp_utils::signal_processing;

namespace {

struct Case {
    const char* name;
    std::vector<double> window;
    double edge, quarter, centre; // at x = 0, π/2 and π
};

std::vector<Case> cases(std::size_t n)
{
    // By hand: at π/2 cos x and cos 3x vanish, cos 2x is −1 and cos 4x is 1. The cosine sums' coefficients add up to
    // these with alternating signs.
    return {{"Hanning", generate_hanning_window(n), 0.0, 0.5, 1.0},
            {"Hamming", generate_hamming_window(n), 0.08, 0.54, 1.0},
            {"Bartlett", generate_bartlett_window(n), 0.0, 0.5, 1.0},
            {"flat-top", generate_flat_top_window(n), -0.000421051, -0.05473684, 1.000000003},
            {"Blackman", generate_blackman_window(n), 0.006879, 0.349741, 0.999999},
            {"Kaiser", generate_kaiser_window(n, 6.0), 1.0 / std::cyl_bessel_i(0.0, 6.0),
             std::cyl_bessel_i(0.0, 6.0 * std::sqrt(0.75)) / std::cyl_bessel_i(0.0, 6.0), 1.0}};
}

} // namespace

TEST(Windows, StandAtTheirFormulasAndMirror)
{
    for (const std::size_t n : {257, 4096}) // the odd one has a centre and exact quarters
        for (const auto& [name, window, edge, quarter, centre] : cases(n)) {
            ASSERT_EQ(window.size(), n) << name;
            EXPECT_NEAR(window[0], edge, 1e-12) << name;
            EXPECT_TRUE(n == 4096 || std::abs(window[n / 2] - centre) < 1e-12) << name;
            EXPECT_TRUE(n == 4096 || std::abs(window[n / 4] - quarter) < 1e-12) << name;
            for (std::size_t i = 0; i < n / 2; ++i)
                EXPECT_NEAR(window[i], window[n - 1 - i], n == 257 ? 1e-13 : 1e-11) << name << i;
        }
}

// The Bessel function by a road of its own: I0(y) = (1/π)·∫ e^(y·cos t) dt over [0, π], where the trapezoidal rule
// converges faster than any power.
TEST(Windows, BesselFunctionEqualsItsIntegral)
{
    for (double y : {0.0, 0.5, 3.0, 6.0, 8.0, 12.0, 38.0, 300.0, 699.0}) {
        constexpr int steps = 2000;
        double sum = 0.5 * (1.0 + std::exp(-2.0 * y));
        for (int i = 1; i < steps; ++i) sum += std::exp(y * (std::cos(3.14159265358979323846 * i / steps) - 1.0));
        EXPECT_NEAR(bessel_i0(y) / (sum / steps * std::exp(y)), 1.0, 1e-12) << y;
    }
    EXPECT_NEAR(generate_kaiser_window(9, 0.0)[0], 1.0, 1e-15); // β = 0 is a rectangle
    const auto steep = generate_kaiser_window(4096, 699.0);
    for (double w : steep) EXPECT_TRUE(std::isfinite(w));
}

TEST(Windows, ApplyingMultipliesAndRefusesAnotherLength)
{
    std::vector<double> taps{1.0, -2.0, 3.0};
    apply_window(taps, {0.5, 2.0, -1.0});
    EXPECT_EQ(taps, (std::vector<double>{0.5, -4.0, -3.0}));
    try {
        apply_window(taps, {1.0, 1.0});
        FAIL() << "no exception";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "Coefficients and window must have the same size");
    }
    for (std::size_t n : {0u, 1u})
        for (const auto& c : cases(n)) EXPECT_EQ(c.window, std::vector<double>(n, 1.0)) << c.name;
}
