#include "analysis/spectrum.h"
#include "modulator/equal_loudness.h"
#include "modulator/ntf_designer.h"
#include "modulator/pole_spread.h"
#include "modulator/psychoacoustic_ntf.h"
#include "modulator/unified_noise_shaper.h"
#include "pipeline/kernel/dispatch.h"
#include "tools/test_signal.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>

namespace tesk::modulator {
namespace {

using Strategy = PsychoacousticStrategy;
using Signal = std::vector<double>;

constexpr Strategy kStrategies[] = {Strategy::conservative, Strategy::balanced, Strategy::aggressive};
constexpr double kBaseRate = 44100;
const Signal kLegendre[] = {{0.7746}, {0.9062, 0.5385}, {0.9491, 0.7415, 0.4058}, {0.9682, 0.8360, 0.6134, 0.3243}};

UnifiedNoiseShaper plainShaper(int order, int oversampling) { return {kLegendre[order / 2 - 1], 0.85, oversampling}; }

UnifiedNoiseShaper shaperOf(const PsychoacousticNtf& ntf, int oversampling)
{
    return {ntf.zeros, ntf.poles, oversampling};
}

/// Of the noise power; 1 at 1 kHz.
double weight(const EqualLoudnessContour& contour, double hz)
{
    return std::pow(10.0, (contour.levelDb(1000) - contour.levelDb(hz)) / 10);
}

/// The weighted noise of white error of mean square 1/3, section by section, dB of a full-scale sine.
double integralDb(const UnifiedNoiseShaper& shaper, double phon, int oversampling)
{
    const EqualLoudnessContour contour(phon);
    const auto sections = shaper.sections();
    double sum = 0;
    for (double hz = 5; hz < kBaseRate / 2; hz += 10) {
        const auto z1 = std::polar(1.0, -2 * M_PI * hz / (kBaseRate * oversampling));
        double power = weight(contour, hz);
        for (const Sos& s : sections)
            power *= std::norm((s.b0 + z1 * (s.b1 + z1 * s.b2)) / (1.0 + z1 * (s.a1 + z1 * s.a2)));
        sum += power * 10 / (kBaseRate / 2 * oversampling);
    }
    return 10 * std::log10(sum / 3 / 0.5);
}

/// No error of 8 or more.
bool staysBounded(const UnifiedNoiseShaper& shaper, Signal x)
{
    kernel::ErrorFeedbackSettings settings;
    settings.clipThreshold = 8;
    const kernel::ErrorFeedbackLoop loop(shaper.sections(), settings);
    kernel::ErrorFeedbackState state;
    kernel::kernels().oneBit(loop, state, x.data(), x.size());
    return state.clips == 0 && state.restarts == 0;
}

/// One-bit decisions, and how their noise stands to a white error of mean square 1/3, dB. The quantiser, seen as a gain
/// k = E|u| / E u² and an uncorrelated noise of mean square 1 − k·E|u|, leaves the band that noise over k².
/// Source: S. Ardalan and J. Paulos, IEEE Trans. CAS, June 1987.
struct Run {
    Signal decisions;
    double errorDb;
};

Run decide(const UnifiedNoiseShaper& shaper, Signal x)
{
    const auto sections = shaper.sections();
    double s1[5] = {}, s2[5] = {}, feedback = 0, magnitude = 0, power = 0;
    for (double& sample : x) {
        const double u = sample + feedback;
        sample = u >= 0 ? 1.0 : -1.0;
        magnitude += std::fabs(u) / static_cast<double>(x.size());
        power += u * u / static_cast<double>(x.size());
        feedback = -kernel::stepCascade(sections, s1, s2, u - sample);
    }
    const double k = magnitude / power;
    return {std::move(x), 10 * std::log10(3 * (1 - k * magnitude) / (k * k))};
}

/// Of 2^18 samples.
Signal signal(measure::SignalKind kind, double levelDb, double hz, double rate)
{
    constexpr double kFrames = 1 << 18;
    Signal x = measure::makeSignal({kind, rate, (kFrames + 1) / rate, 1, levelDb, hz, {}}).front();
    x.resize(std::size_t{1} << 18);
    return x;
}

/// Measured on decisions for a quarter of 1 kHz, everything in the band but the tone, and as the integral has it.
struct Noise {
    double measuredDb, expectedDb;
};

Noise noiseOf(const UnifiedNoiseShaper& shaper, double phon)
{
    const double rate = kBaseRate * 64;
    const Run run = decide(shaper, signal(measure::SignalKind::tone, -12.04, 1000, rate));
    const analysis::Spectrum spectrum(run.decisions, rate);
    const EqualLoudnessContour contour(phon);
    const auto tone = static_cast<std::size_t>(std::lround(1000 / spectrum.binHz()));
    const std::size_t skirt = analysis::Spectrum::skirt();
    double sum = 0;
    for (std::size_t bin = skirt + 1; static_cast<double>(bin) * spectrum.binHz() < kBaseRate / 2; ++bin)
        if (bin + skirt < tone || bin > tone + skirt)
            sum += spectrum.power(bin) * weight(contour, static_cast<double>(bin) * spectrum.binHz());
    return {10 * std::log10(sum / 0.5), integralDb(shaper, phon, 64) + run.errorDb};
}

std::string refusal(const std::function<void()>& act)
{
    try {
        act();
        return "taken";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

// The contour of 40 phon as annex B of the standard tabulates it, in tenths.
TEST(EqualLoudness, HasTheLevelsOfTheStandard)
{
    const EqualLoudnessContour contour(40);
    constexpr double kTable[][2] = {{20, 99.9},   {31.5, 88.2}, {63, 73.1},    {100, 64.4},
                                    {200, 53.4},  {400, 45.0},  {1000, 40.0},  {1600, 42.5},
                                    {3150, 35.6}, {5000, 40.0}, {10000, 54.3}, {12500, 51.5}};
    for (const auto& [hz, db] : kTable) EXPECT_NEAR(contour.levelDb(hz), db, 0.055) << hz;
}

TEST(EqualLoudness, IsSmoothAndFiniteAtEveryFrequencyAndLevel)
{
    for (int phon = 1; phon <= 100; ++phon) {
        const EqualLoudnessContour contour(phon);
        EXPECT_NEAR(contour.levelDb(1000), phon, 0.02);
        for (double hz : {-1.0, 0.0, 20.0, std::nan("")}) EXPECT_EQ(contour.levelDb(hz), contour.levelDb(20));
        double before = contour.levelDb(20);
        for (double hz = 20; hz < 50000; hz *= 1.001) {
            const double level = contour.levelDb(hz);
            ASSERT_LT(std::fabs(level - before), 0.6) << hz; // or it is no number
            ASSERT_TRUE(hz < 12600 || level > before) << hz;
            before = level;
        }
        EXPECT_NEAR(contour.levelDb(16000) - contour.levelDb(12500), 40.2 - 12.3, 1e-9) << "the threshold's rise";
    }
    for (double bad : {0.0, -40.0, 100.5, std::nan("")})
        EXPECT_EQ(refusal([&] { EqualLoudnessContour{bad}; }), "Phon must be in (0.0, 100.0]");
}

// The prediction by another way, the optimum by its neighbours, the peak by a sweep.
TEST(PsychoacousticNtf, IsWhatItSaysAndTheBestThereIs)
{
    for (const int oversampling : {64, 128, 4096})
        for (const int order : {3, 5, 7, 9})
            for (const double phon : {20.0, 80.0}) {
                PsychoacousticNtf gentler{{}, {}, 0, 0, 0};
                for (const Strategy strategy : kStrategies) {
                    const auto ntf = designPsychoacousticNtf(order, phon, strategy, oversampling);
                    const UnifiedNoiseShaper shaper = shaperOf(ntf, oversampling);
                    ASSERT_EQ(shaper.order(), order);
                    EXPECT_NEAR(ntf.peakDb, measureNtfPeak(shaper.sections(), 2000), 1e-3);
                    EXPECT_GT(ntf.peakDb, gentler.peakDb);
                    EXPECT_LT(ntf.weightedNoiseDb, gentler.weightedNoiseDb - 1);
                    gentler = ntf;
                }
                const auto ntf = designPsychoacousticNtf(order, phon, Strategy::balanced, oversampling);
                const double best = integralDb(shaperOf(ntf, oversampling), phon, oversampling);
                EXPECT_NEAR(ntf.weightedNoiseDb, best, 0.05) << order;
                EXPECT_NEAR(ntf.plainWeightedNoiseDb, integralDb(plainShaper(order, oversampling), phon, oversampling),
                            0.05);
                for (std::size_t k = 0; k < ntf.zeros.size(); ++k)
                    for (const double factor : {0.97, 1.03}) {
                        PsychoacousticNtf moved = ntf;
                        moved.zeros[k] *= factor;
                        EXPECT_GT(integralDb(shaperOf(moved, oversampling), phon, oversampling), best);
                    }
            }
}

TEST(PsychoacousticNtf, DecisionsHaveThePredictedNoiseAndLessThanThePlainOnes)
{
    for (const int order : {3, 5, 7, 9}) {
        const auto ntf = designPsychoacousticNtf(order, 40, Strategy::balanced, 64);
        const Noise noise = noiseOf(shaperOf(ntf, 64), 40), plain = noiseOf(plainShaper(order, 64), 40);
        EXPECT_LT(noise.measuredDb, plain.measuredDb - 6) << order;
        EXPECT_LT(ntf.weightedNoiseDb, ntf.plainWeightedNoiseDb - 6) << order;
        if (order == 3) continue;                                    // its error is far from white
        EXPECT_NEAR(noise.measuredDb, noise.expectedDb, 3) << order; // from run to run by 1 dB
        EXPECT_NEAR(plain.measuredDb, plain.expectedDb, 3) << order;
    }
}

TEST(PsychoacousticNtf, EveryDesignStaysBounded)
{
    using measure::SignalKind;
    for (const int oversampling : {64, 128}) {
        const double rate = kBaseRate * oversampling;
        const Signal signals[] = {signal(SignalKind::tone, -6.02, 50, rate),
                                  signal(SignalKind::tone, -6.02, 20000, rate),
                                  signal(SignalKind::music, -6.02, 0, rate), Signal(std::size_t{1} << 18, 0.5)};
        for (const int order : {3, 5, 7, 9})
            for (const Strategy strategy : kStrategies)
                for (const double phon : {20.0, 80.0}) {
                    const auto ntf = designPsychoacousticNtf(order, phon, strategy, oversampling);
                    for (const Signal& x : signals)
                        EXPECT_TRUE(staysBounded(shaperOf(ntf, oversampling), x)) << order << ' ' << phon;
                }
    }
}

TEST(PsychoacousticNtf, RefusesWhatItCannotDesign)
{
    const auto refused = [](int order, double phon, int oversampling) {
        return refusal([&] { designPsychoacousticNtf(order, phon, Strategy::balanced, oversampling); });
    };
    for (int order : {-1, 0, 1, 4, 8, 11})
        EXPECT_EQ(refused(order, 40, 64), "Psychoacoustic order must be 3, 5, 7 or 9");
    for (int rate : {-64, 0, 63, 4097})
        EXPECT_EQ(refused(5, 40, rate), "Psychoacoustic oversampling must be in [64, 4096]");
    for (double phon : {0.0, -1.0, std::nan("")}) EXPECT_EQ(refused(5, phon, 64), "Phon must be in (0.0, 100.0]");
    for (int strategy : {-1, 3})
        EXPECT_EQ(refusal([&] { designPsychoacousticNtf(5, 40, static_cast<Strategy>(strategy), 64); }),
                  "Psychoacoustic strategy must be 0, 1 or 2");
}

TEST(PoleSpread, KeepsThePeakAndLosesLittle)
{
    for (const double pole : {0.0, 0.005, -0.85, 0.8893, 0.9999})
        for (const int order : {3, 5, 7, 9}) {
            const Signal poles = spreadPoles(pole, order), equal(static_cast<std::size_t>(order), std::fabs(pole));
            EXPECT_TRUE(std::is_sorted(poles.begin(), poles.end()));
            EXPECT_GE(poles.front(), 0.0);
            EXPECT_LT(poles.back(), 1.0);
            const Signal& zeros = kLegendre[order / 2 - 1];
            const UnifiedNoiseShaper spread(zeros, poles, 64), single(zeros, equal, 64);
            if (std::fabs(pole) > 0.9) continue; // nearer to DC than the zeros: the peak lies elsewhere
            EXPECT_NEAR(measureNtfPeak(spread.sections(), 100), measureNtfPeak(single.sections(), 100), 1e-9);
            if (std::fabs(pole) < 0.85) continue;
            EXPECT_GT(poles.back() - poles.front(), 0.03);
            const double loss = integralDb(spread, 40, 64) - integralDb(single, 40, 64);
            EXPECT_GT(loss, 0.0);
            EXPECT_LT(loss, 0.5);
        }
}

TEST(PoleSpread, TilesAListAndRefusesWhatIsNoPole)
{
    EXPECT_EQ(spreadPoles(0.5, 1), Signal{0.5});
    EXPECT_EQ(tilePoles({0.1, 0.2}, 5), (Signal{0.1, 0.2, 0.1, 0.2, 0.1}));
    EXPECT_EQ(tilePoles({0.1, 0.2, 0.3}, 2), (Signal{0.1, 0.2}));
    EXPECT_EQ(refusal([] { (void)tilePoles({}, 3); }), "Pole list cannot be empty");
    EXPECT_EQ(refusal([] { (void)tilePoles({0.5}, 0); }), "Pole count must be at least 1");
    for (const double bad : {1.0, -1.0, std::nan("")})
        EXPECT_EQ(refusal([&] { (void)spreadPoles(bad, 3); }), "Pole magnitude must be in [0.0, 1.0)");
}

// The ear does not move with the sample rate.
TEST(PsychoacousticNtf, ZerosStandAtTheSameFrequenciesInBothFamilies)
{
    const auto at44 = designPsychoacousticNtf(7, 40, Strategy::balanced, 64).zeros;
    const auto at48 = designPsychoacousticNtf(7, 40, Strategy::balanced, 64, 24000).zeros;
    for (std::size_t i = 0; i < at44.size(); ++i) EXPECT_NEAR(at48[i] * 24000 / (at44[i] * 22050), 1, 0.01) << i;
}

} // namespace
} // namespace tesk::modulator
