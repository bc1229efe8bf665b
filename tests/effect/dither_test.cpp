#include "effect/dither_effect.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace p2p::effect {
namespace {

using Channels = std::vector<std::vector<double>>;

/// What a prepared stage adds to silence, [channels][frames].
Channels added(DitherEffect& stage, std::size_t frames, std::size_t block = 588)
{
    Channels noise(stage.format().channels, std::vector<double>(frames, 0.0));
    for (std::size_t at = 0; at < frames; at += block) {
        std::vector<double*> pointers;
        for (auto& channel : noise) pointers.push_back(channel.data() + at);
        EXPECT_TRUE(stage.process(pointers.data(), std::min(block, frames - at), stage.format().channels));
    }
    return noise;
}

Channels noiseOf(const DitherConfig& config, unsigned channels, std::size_t frames, std::size_t block = 588)
{
    DitherEffect stage(config);
    EXPECT_TRUE(stage.prepare({44100, channels, 0}));
    return added(stage, frames, block);
}

/// The z-transform from the value `first` on. For |z| above 1 a signal this long has no end that would matter.
double transform(const std::vector<double>& x, double z, std::size_t first = 0)
{
    double sum = 0;
    for (std::size_t i = x.size(); i-- > first;) sum = sum / z + x[i];
    return sum;
}

TEST(Dither, TriangularWithinOneStepOfTheWordLength)
{
    // By exact arithmetic from the generator's definition.
    const std::vector<double> known{1.0123462748851862e-08, 9.1538995318192683e-08, -8.1821310577815928e-08};
    EXPECT_EQ(noiseOf({24, 0}, 1, 3)[0], known);
    const auto base = noiseOf({24, 0}, 1, 100000)[0];
    double sum = 0;
    for (double v : base) {
        ASSERT_LT(std::fabs(v), 0x1p-23);
        sum += v * 0x1p23;
    }
    EXPECT_NEAR(sum / 1e5, 0, 0.006); // four and a half deviations
    const std::pair<int, double> steps[] = {{16, 0x1p-15}, {1, 1}, {0, 1}, {-5, 1}, {32, 0x1p-31}, {40, 0x1p-31}};
    for (const auto& [bits, step] : steps)
        EXPECT_EQ(noiseOf({bits, -1}, 1, 100)[0][99], base[99] * 0x1p23 * step) << bits;
}

// Every type is a FIR over the numbers of type 0. Its response at two points outside the unit circle, where the ends of
// the signal vanish, hangs on every digit of the table: for the differences (1 − 1/z)^n, for the others evaluated from
// the published tables with another program.
TEST(Dither, TypesFilterTheSameNumbers)
{
    const double z = 1.05, m = 1 - 1 / z, p = 1 + 1 / z;
    const double atZ[] = {
        1, m, m * m, m * m * m, 0.880343956479039, 0.8074918520206897, 0.7497358873986402, 0.539840703283689};
    const double atMinusZ[] = {
        1, p, p * p, p * p * p, 7.751157043618656, 18.701961491423056, 8.444400653042457, 19.904240013685058};
    const auto source = noiseOf({16, 0}, 2, 2000);
    for (int type = -1; type <= 9; ++type) {
        const auto noise = noiseOf({16, type}, 2, 2000, 7);
        const int as = std::clamp(type, 0, 7);
        for (std::size_t c : {0, 1}) {
            EXPECT_NEAR(transform(noise[c], z) / transform(source[c], z), atZ[as], 1e-9) << type;
            EXPECT_NEAR(transform(noise[c], -z) / transform(source[c], -z), atMinusZ[as], 1e-9) << type;
        }
    }
    EXPECT_NE(source[0], source[1]);
    EXPECT_EQ(source[1], noiseOf({16, 0, 123456789 + 9973}, 1, 2000)[0]);
}

TEST(Dither, KeepsTheContractOfAStage)
{
    DitherEffect stage({16, 6});
    ASSERT_TRUE(stage.prepare({44100, 1, 0}));
    const struct : EffectConfig {
    } other;
    EXPECT_TRUE(stage.configure(nullptr));
    EXPECT_EQ(stage.configure(&other).status(), DSD_ERROR);
    EXPECT_EQ(stage.ditherType, 6);
    std::vector<double> x(13, 0.25);
    double* channels[] = {x.data(), x.data()};
    for (unsigned count : {0, 2}) EXPECT_EQ(stage.process(channels, 13, count).status(), DSD_ERROR);
    EXPECT_EQ(x, std::vector<double>(13, 0.25));
    ASSERT_TRUE(stage.process(channels, 13, 1));
    EXPECT_EQ(x[12], 0.25 + noiseOf({16, 6}, 1, 13)[0][12]) << "added, not put in place";

    // In mid-stream: the new filter starts empty, the numbers go on, word length and seed wait for `prepare`.
    const DitherConfig next(24, 2, 99);
    ASSERT_TRUE(stage.configure(&next));
    const double numbers = transform(noiseOf({16, 0}, 1, 2013)[0], 1.05, 13);
    EXPECT_NEAR(transform(added(stage, 2000)[0], 1.05) / numbers, std::pow(1 - 1 / 1.05, 2), 1e-9);
    ASSERT_TRUE(stage.prepare({44100, 2, 0}));
    EXPECT_EQ(added(stage, 100), noiseOf(next, 2, 100));
    ASSERT_TRUE(stage.reset());
    EXPECT_EQ(stage.process(channels, 13, 2).status(), DSD_ERROR);
}

} // namespace
} // namespace p2p::effect
