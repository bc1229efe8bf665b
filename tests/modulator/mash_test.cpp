#include "analysis/spectrum.h"
#include "modulator/mash_effect.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace p2p::effect {
namespace {

using tesk::modulator::MashCoefficients;
using tesk::modulator::MashStage;
using enum MashErrorFeedback;

constexpr MashErrorFeedback kModes[] = {plain, fir2, iir2};
constexpr int kTopologies[] = {421, 222, 111};
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The core sample by sample as the block diagram has it: every factor multiplied, every clamp and rounding done.
struct Diagram {
    MashCoefficients c;
    double i[6] = {}, p[3] = {}, b[2] = {}, d[4] = {};
    std::uint32_t random = tesk::modulator::MashState::kSeed;

    double integrate(int k, double x)
    {
        const MashStage& s = c.stages[static_cast<std::size_t>(k)];
        double* at = i + 2 * k;
        at[0] = s.leak * at[0] + s.gain1 * (x - s.feedback1 * p[k]);
        if (c.integrators == 1) return at[0];
        return at[1] = s.leak * at[1] + s.gain2 * (at[0] - s.feedback2 * p[k]);
    }
    static double level(double v, double step)
    {
        return std::round(std::clamp(v, step / 2 - 1, 1 - step / 2) / step) * step;
    }
    double draw() { return c.dither ? tesk::modulator::mashDither(random) : 0.0; }

    double step(double x)
    {
        const double xc = std::clamp(x, -0.95, 0.95);
        p[0] = level(integrate(0, xc) + draw() * c.step1 / 2, c.step1);
        p[1] = level(integrate(1, xc - p[0]) + draw() * c.step2 / 2, c.step2);
        p[2] = integrate(2, xc - p[0] - p[1]) + draw() < 0.0 ? -1.0 : 1.0;
        const double out = c.integrators == 1
                               ? p[0] - (p[1] - b[0]) + (p[2] - 2 * d[0] + d[1])
                               : p[0] - (p[1] - 2 * b[0] + b[1]) + (p[2] - 4 * d[0] + 6 * d[1] - 4 * d[2] + d[3]);
        std::copy_backward(b, b + 1, b + 2);
        std::copy_backward(d, d + 3, d + 4);
        b[0] = p[1], d[0] = p[2];
        return out;
    }
};

/// The one-bit quantiser, as the difference equations have it.
struct Decider {
    double e1 = 0, e2 = 0, w1 = 0;
    double step(double v, MashErrorFeedback mode)
    {
        const double w = 1.5 * e1 - e2 + 0.5 * w1;
        const double u = mode == plain ? v : mode == fir2 ? v + 2 * e1 - e2 : v - w;
        const double y = u >= 0.0 ? 1.0 : -1.0;
        e2 = e1, e1 = mode == iir2 ? y - u : u - y, w1 = w;
        return y;
    }
};

/// Noise, a stretch of sixteenths, where the quantisers meet nothing but ties, silence, and far too loud a stretch.
std::vector<double> hardInput()
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> uniform(-0.6, 0.6);
    std::vector<double> x(20000);
    for (double& s : x) s = uniform(random);
    for (std::size_t i = 5000; i < 10000; ++i) x[i] = std::round(16 * x[i]) / 16;
    std::fill(x.begin() + 10000, x.begin() + 11000, 0.0);
    for (std::size_t i = 15000; i < 16000; ++i) x[i] *= 5;
    return x;
}

/// In blocks of the given lengths, over and over.
std::vector<double> modulated(MashEffect& stage, std::vector<double> x, const std::vector<std::size_t>& blocks)
{
    for (std::size_t at = 0, b = 0; at < x.size(); ++b) {
        const std::size_t n = std::min(blocks[b % blocks.size()], x.size() - at);
        double* channel = x.data() + at;
        EXPECT_TRUE(stage.process(&channel, n, 1));
        at += n;
    }
    return x;
}

std::vector<double> modulated(int topology, MashErrorFeedback mode, const std::vector<double>& x)
{
    tesk::parallel::WorkerPool pool(1);
    MashEffect stage(topology, mode, pool);
    EXPECT_TRUE(stage.prepare({44100, 1, 0}));
    return modulated(stage, x, {x.size()});
}

TEST(MashCore, DitherDrawsAsComputedByHand)
{
    // r = 1: u1 = 389569705 + 1196435762 = 1586005467, u2 = 1664525 + 1013904223 = 1015568748; halved, added, less 2³¹;
    // and on from r = u1.
    std::uint32_t r = 1;
    for (const std::int64_t expected : {-846696541, 449093153, -1245407409})
        EXPECT_EQ(tesk::modulator::mashDither(r) * 0x1p31, static_cast<double>(expected));
}

TEST(MashCore, RoundsTiesAwayFromZeroAndSaturates)
{
    const double below = std::nextafter(0.0625, 0.0);
    const double cases[][3] = {{0.0625, 1. / 8, 0.125}, {-0.1875, 1. / 8, -0.25}, {below, 1. / 8, 0},
                               {0.8125, 1. / 8, 0.875}, {0.9375, 1. / 8, 1},      {1.0626, 1. / 8, 1},
                               {-0.25, 0.5, -0.5},      {0.7499, 0.5, 0.5},       {-1e300, 0.5, -1}};
    for (const auto& [v, step, expected] : cases)
        EXPECT_EQ(tesk::modulator::mashQuantise(v, step), expected) << v << " " << step;
}

template <int kIntegrators>
void compareCore(MashCoefficients c)
{
    Diagram diagram{c};
    tesk::modulator::MashState state;
    for (double x : hardInput()) ASSERT_EQ(tesk::modulator::mashStep<kIntegrators>(c, state, x), diagram.step(x));
}

// Every coefficient different, so that a mixed-up one shows; all three stages at work, with dither and without.
TEST(MashCore, FollowsTheDiagramWithAnyCoefficients)
{
    for (const bool dither : {false, true}) {
        MashCoefficients c{.integrators = 2, .step1 = 1. / 8, .step2 = 1. / 2, .stages = {}, .dither = dither};
        c.stages = {{{0.99, 0.9, 1.1, 1.05, 0.95}, {0.98, 0.8, 1.2, 1.02, 0.97}, {0.97, 0.7, 0.6, 1.01, 0.93}}};
        compareCore<2>(c);
        c.integrators = 1;
        compareCore<1>(c);
    }
}

// The short loop against the whole diagram; and whatever the blocks, the bits are the same.
TEST(Mash, FollowsTheDiagramInAnyBlocks)
{
    const auto x = hardInput();
    tesk::parallel::WorkerPool pool(1);
    for (int topology : kTopologies)
        for (MashErrorFeedback mode : kModes) {
            MashCoefficients c;
            c.integrators = topology == 111 ? 1 : 2;
            c.step1 = topology == 222 ? 0.5 : 0.125;
            c.stages[2].gain1 = c.stages[2].gain2 = 0;
            Diagram diagram{c};
            Decider decider;
            std::vector<double> expected;
            for (double s : x) expected.push_back(decider.step(diagram.step(s), mode));
            MashEffect stage(topology, mode, pool);
            for (const std::vector<std::size_t>& blocks : {std::vector<std::size_t>{20000}, {1, 2, 37, 588, 4096}}) {
                ASSERT_TRUE(stage.prepare({44100, 1, 0}));
                ASSERT_EQ(modulated(stage, x, blocks), expected) << topology << " " << static_cast<int>(mode);
                EXPECT_EQ(stage.overloads().front().clips,
                          static_cast<std::size_t>(
                              std::count_if(x.begin(), x.end(), [](double s) { return std::fabs(s) > 0.95; })));
                EXPECT_GE(stage.overloads().front().firstClip, 15000U);
                EXPECT_LT(stage.overloads().front().firstClip, 15020U);
            }
        }
    EXPECT_EQ(modulated(3, fir2, x), modulated(421, fir2, x)) << "unknown topologies run as 421";
    EXPECT_NE(modulated(222, fir2, x), modulated(421, fir2, x));
}

// One-bit noise, 1/3, through (1 − z⁻¹)² leaves 1/3 · π⁴/5 / R⁵ in the band, R half the rate over 20 kHz: 69.3 dB below
// a quarter at 2.8224 MHz, 84.3 dB at twice that; the pole of iir2 adds 6 dB. The first-order core of 111 adds its own:
// a step of 1/8, that is 1/768, through 1 − z⁻¹ leaves 1/768 · π²/3 / R³, 64.1 dB, and of a noise with tones in it.
TEST(Mash, ReachesTheNoiseOfItsOrder)
{
    struct Case {
        int topology;
        MashErrorFeedback mode;
        double rate, expectedDb, tolerance;
    };
    const Case cases[] = {{421, fir2, 2822400, 69.3, 2.5}, {222, fir2, 2822400, 69.3, 2.5},
                          {421, iir2, 2822400, 63.3, 2.5}, {222, iir2, 2822400, 63.3, 2.5},
                          {421, fir2, 5644800, 84.3, 2.5}, {111, fir2, 2822400, 62.9, 6},
                          {111, iir2, 2822400, 60.7, 6}};
    std::vector<double> x(1 << 20);
    for (const Case& c : cases) {
        for (std::size_t i = 0; i < x.size(); ++i)
            x[i] = 0.25 * std::sin(2 * M_PI * 1000 * static_cast<double>(i) / c.rate);
        const tesk::analysis::Spectrum spectrum(modulated(c.topology, c.mode, x), c.rate);
        const auto read = readSpectrum(spectrum, {1000});
        EXPECT_NEAR(read.snrDb, c.expectedDb, c.tolerance) << c.topology << " " << static_cast<int>(c.mode);
        EXPECT_NEAR(read.tones[0].dbfs, -12.04, 0.03);
    }
}

// What is no number clears the channel, so what follows is decided as if the stream began there.
TEST(Mash, BeginsAnewAfterWhatIsNoNumber)
{
    const auto tail = hardInput();
    tesk::parallel::WorkerPool pool(1);
    for (int topology : kTopologies)
        for (MashErrorFeedback mode : kModes)
            for (const double bad : {kNan, kInfinity, -kInfinity}) {
                std::vector<double> x(tail.begin(), tail.begin() + 777);
                x.insert(x.end(), {bad, bad});
                x.insert(x.end(), tail.begin(), tail.end());
                MashEffect stage(topology, mode, pool);
                ASSERT_TRUE(stage.prepare({44100, 1, 0}));
                const auto y = modulated(stage, x, {50, 778});
                EXPECT_TRUE(std::all_of(y.begin(), y.end(), [](double s) { return s == 1.0 || s == -1.0; }));
                EXPECT_EQ(std::vector<double>(y.begin() + 779, y.end()), modulated(topology, mode, tail));
                EXPECT_EQ(stage.overloads().front().restarts, 2U);
            }
}

// No leak between channels, whatever thread runs them, and nothing done when there are too many.
TEST(Mash, KeepsChannelsApart)
{
    tesk::parallel::WorkerPool pool(3);
    MashEffect stage(421, fir2, pool);
    ASSERT_TRUE(stage.prepare({44100, 5, 0}));
    const auto x = hardInput();
    std::vector<std::vector<double>> data(5, x);
    data[3].assign(x.size(), kNan);
    std::vector<double*> channels;
    for (auto& channel : data) channels.push_back(channel.data());
    channels.push_back(channels[0]);
    EXPECT_EQ(stage.process(channels.data(), x.size(), 6).status(), DSD_ERROR);
    EXPECT_EQ(data[0], x);
    EXPECT_TRUE(stage.process(nullptr, 0, 0));
    ASSERT_TRUE(stage.process(channels.data(), x.size(), 5));
    for (const std::size_t c : {0, 1, 2, 4}) EXPECT_EQ(data[c], modulated(421, fir2, x)) << c;
    EXPECT_EQ(stage.overloads()[3].restarts, x.size());
    EXPECT_EQ(stage.overloads()[4].restarts, 0U);
    ASSERT_TRUE(stage.reset());
    EXPECT_EQ(stage.process(channels.data(), 1, 1).status(), DSD_ERROR) << "not prepared any more";
}

} // namespace
} // namespace p2p::effect
