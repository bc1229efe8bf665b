#include "analysis/spectrum.h"
#include "modulator/int16_noise_shaper_effect.h"
#include "modulator/sos_ef_noise_shaper_effect.h"
#include "pipeline/kernel/dispatch.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace p2p::effect {
namespace {

constexpr double kRate = 2822400;
constexpr std::size_t kLength = std::size_t{1} << 20;

std::vector<double> sine(double level, double hz)
{
    std::vector<double> x(kLength);
    for (std::size_t i = 0; i < kLength; ++i) x[i] = level * std::sin(2 * M_PI * hz * static_cast<double>(i) / kRate);
    return x;
}

/// Noise in 20 Hz – 20 kHz without the tone at `hz` (0: no tone), in dB of a full-scale sine.
double bandNoiseDb(const std::vector<double>& y, double hz)
{
    const tesk::analysis::Spectrum spectrum(y, kRate);
    return tesk::analysis::readSpectrum(spectrum, hz > 0 ? std::vector<double>{hz} : std::vector<double>{}).noiseDbfs;
}

struct Modulated {
    std::vector<double> decisions;
    tesk::modulator::Overload overload;
};

Modulated modulated(int order, std::vector<double> x)
{
    tesk::parallel::WorkerPool pool(1);
    SosEfNoiseShaperEffect stage(order, {}, tesk::kernel::kernels(), pool);
    EXPECT_TRUE(stage.prepare({44100, 1, 0}));
    double* channel = x.data();
    EXPECT_TRUE(stage.process(&channel, x.size(), 1));
    return {std::move(x), stage.overloads().front()};
}

// Known in-band noise of the designed orders for a tone of a quarter (−6 dBFS before the oversampler's halving).
TEST(SosEf, DesignedOrdersReachTheirNoise)
{
    const double expected[] = {-42.0, -71.0, -95.5, -116.0, -134.0};
    for (int i = 0; i < 5; ++i) {
        const auto y = modulated(3 + 2 * i, sine(0.25, 1000)).decisions;
        EXPECT_NEAR(bandNoiseDb(y, 1000), expected[i], 1.5) << 3 + 2 * i;
    }
}

TEST(SosEf, IdlesWithTheKnownPattern)
{
    const auto y = modulated(15, std::vector<double>(kLength, 0.0)).decisions;
    const unsigned known[] = {0x69, 0x66, 0x59, 0x6a, 0xa6, 0x95, 0x99, 0x99,
                              0x66, 0x96, 0x99, 0xa6, 0x65, 0xa5, 0xa5, 0x66};
    for (std::size_t b = 0; b < 16; ++b) {
        unsigned byte = 0;
        for (std::size_t k = 0; k < 8; ++k) byte |= static_cast<unsigned>(y[8 * b + k] > 0) << k;
        EXPECT_EQ(byte, known[b]) << b;
    }
    EXPECT_LT(bandNoiseDb(y, 0), -150);
}

TEST(SosEf, CountsItsRescuesAndAlwaysDecides)
{
    for (const double level : {0.25, 0.5}) {
        const Modulated run = modulated(15, sine(level, 1000));
        for (double d : run.decisions) ASSERT_EQ(std::fabs(d), 1.0);
        EXPECT_EQ(run.overload.clips > 1000, level > 0.4);
    }
    EXPECT_EQ(modulated(11, sine(0.5, 1000)).overload.clips, 0U) << "the designed orders take full scale";
}

// Same seed in every channel, no leak between channels, whatever thread runs them.
TEST(SosEf, EqualChannelsGiveEqualBits)
{
    tesk::parallel::WorkerPool pool(3);
    SosEfNoiseShaperEffect stage(15, {}, tesk::kernel::kernels(), pool);
    ASSERT_TRUE(stage.prepare({44100, 5, 0}));
    const auto x = sine(0.25, 997);
    std::vector<std::vector<double>> data(5, x);
    data[3].assign(kLength, 0.1);
    for (std::size_t at = 0; at < kLength; at += 37632) {
        std::vector<double*> channels;
        for (auto& channel : data) channels.push_back(channel.data() + at);
        ASSERT_TRUE(stage.process(channels.data(), std::min<std::size_t>(37632, kLength - at), 5));
    }
    const auto alone = modulated(15, x).decisions;
    for (const std::size_t c : {0, 1, 2, 4}) EXPECT_EQ(data[c], alone) << c;
    double* none[6] = {};
    EXPECT_EQ(stage.process(none, 0, 6).status(), DSD_ERROR) << "more channels than prepared";
}

TEST(Int16NoiseShaper, KeepsItsErrorOutOfTheBand)
{
    tesk::parallel::WorkerPool pool(1);
    Int16NoiseShaperEffect stage(9, 0.75, tesk::kernel::kernels(), pool);
    ASSERT_TRUE(stage.prepare({44100, 1, 0}));
    const auto x = sine(0.25, 1000);
    auto y = x;
    double* channel = y.data();
    ASSERT_TRUE(stage.process(&channel, y.size(), 1));
    std::vector<double> error(kLength);
    for (std::size_t i = 0; i < kLength; ++i) {
        ASSERT_EQ(std::nearbyint(y[i] * 32768), y[i] * 32768);
        error[i] = y[i] - x[i];
    }
    EXPECT_LT(bandNoiseDb(error, 0), -170);
}

} // namespace
} // namespace p2p::effect
