#include "effect/lookahead_limiter_effect.h"
#include "effect/soft_limiter_effect.h"
#include "pipeline/kernel/dispatch.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace p2p::effect {
namespace {

std::vector<double> process(AudioEffect& stage, std::vector<double> x, std::size_t block)
{
    for (std::size_t at = 0; at < x.size(); at += block) {
        double* channel = x.data() + at;
        EXPECT_TRUE(stage.process(&channel, std::min(block, x.size() - at), 1));
    }
    return x;
}

std::vector<double> loudNoise(std::size_t n)
{
    std::vector<double> x(n);
    unsigned long seed = 5;
    for (std::size_t i = 0; i < n; ++i) {
        seed = seed * 6364136223846793005UL + 1442695040888963407UL;
        x[i] = (static_cast<double>(seed >> 11) * 0x1p-52 - 1.0) * (1.0 + std::sin(static_cast<double>(i) * 0.003));
    }
    return x;
}

TEST(SoftLimiter, FollowsItsCurveForAnyDelta)
{
    const double ceiling = 0.5 * std::pow(10.0, -1.0 / 20); // −1 dB of half scale
    for (const double delta : {0.01, 0.05, 0.2}) {
        SoftLimiterEffect stage(delta, tesk::kernel::kernels());
        ASSERT_TRUE(stage.prepare({44100, 1, 0}));
        const auto y = process(stage, {0.3, 0.5, -0.5, -0.75, 1.0, -2.0, 0.0}, 7);
        const double middle = (0.5 + ceiling) / 2;
        const double expected[] = {0.3, 0.5, -0.5, -middle, ceiling, -ceiling, 0.0};
        for (std::size_t i = 0; i < 7; ++i) EXPECT_NEAR(y[i], expected[i], 1e-15) << i;
    }
    EXPECT_NEAR(SoftLimiterEffect::limit(-0.75), -0.47281, 1e-5);
}

/// The limiter as it is defined, scanning its whole line for every sample.
std::vector<double> scanned(const std::vector<double>& x, std::size_t length, double ceiling, double attack,
                            double release)
{
    std::vector<double> line(length, 0.0), y;
    std::size_t w = 0;
    double gain = 1;
    for (double in : x) {
        line[w] = in;
        const double delayed = line[(w + length - (length - 1)) % length];
        double peak = 0;
        for (double entry : line) peak = std::max(peak, std::fabs(entry));
        const double target = peak > ceiling ? ceiling / peak : 1.0;
        gain += (target - gain) * (gain > target ? attack : release);
        y.push_back(gain * delayed);
        w = (w + 1) % length;
    }
    return y;
}

// The sliding maximum against the scan, across block seams and for lines of one sample and of many.
TEST(LookAheadLimiter, FindsWhatAScanOfTheLineFinds)
{
    const auto x = loudNoise(5000);
    for (const double ms : {0.0, 0.001, 0.05, 2.0}) {
        LookAheadLimiterEffect stage(ms, -1.0, 0.5, 100.0);
        ASSERT_TRUE(stage.prepare({44100, 1, 0}));
        const auto length = std::max<std::size_t>(1, static_cast<std::size_t>(ms * 44.1 + 0.5));
        EXPECT_EQ(stage.length(), length);
        const auto expected = scanned(x, length, std::pow(10.0, -1.0 / 20), 1 - std::exp(-1 / (0.5 * 44.1)),
                                      1 - std::exp(-1 / (100.0 * 44.1)));
        const auto y = process(stage, x, 77);
        for (std::size_t i = 0; i < x.size(); ++i) ASSERT_NEAR(y[i], expected[i], 1e-12) << ms << ' ' << i;
    }
}

TEST(LookAheadLimiter, HoldsAConstantAtItsCeilingAndDelaysByTheLine)
{
    LookAheadLimiterEffect stage(2.0, -1.0, 0.5, 100.0);
    ASSERT_TRUE(stage.prepare({44100, 1, 0}));
    const auto y = process(stage, std::vector<double>(4000, 2.0), 588);
    EXPECT_EQ(y[86], 0.0);
    EXPECT_NE(y[87], 0.0) << "88 samples of line, 87 of delay";
    EXPECT_NEAR(y.back(), std::pow(10.0, -1.0 / 20), 1e-6);
}

// One line for all channels: what the first channel leaves comes out at the head of the second.
TEST(LookAheadLimiter, SharesItsLineAcrossChannels)
{
    LookAheadLimiterEffect stage(1.0, -1.0, 0.5, 100.0);
    ASSERT_TRUE(stage.prepare({10000, 2, 0})); // a line of ten
    std::vector<double> left(20, 0.25), right(20, 0.0);
    double* channels[] = {left.data(), right.data()};
    ASSERT_TRUE(stage.process(channels, 20, 2));
    EXPECT_NEAR(right[0], 0.25, 1e-12);
    EXPECT_EQ(right[9], 0.0);
    ASSERT_TRUE(stage.prepare({10000, 2, 0}));
    left.assign(20, 0.0);
    ASSERT_TRUE(stage.process(channels, 20, 1));
    EXPECT_EQ(left[0], 0.0) << "preparing anew empties the line";
}

} // namespace
} // namespace p2p::effect
