// Rates, lengths, level and place of what comes out, whatever the filters' inner form.
#include "tests/reverse/memory_source.h"

#include "pipeline/kernel/dispatch.h"
#include "reverse/pdm2pcm.h"
#include "reverse/process_values.h"

#include <gtest/gtest.h>

namespace tesk {
namespace {

class Decimation {
public:
    explicit Decimation(const ReverseSettings& asked) : settings(asked) {}

    std::vector<double> run(DsdReader& source)
    {
        const ReverseEnvironment environment{
            .report = report, .stop = stop, .pool = parallel::WorkerPool::instance(), .kernels = kernel::kernels()};
        Pdm2Pcm decimation(settings, environment);
        EXPECT_TRUE(decimation.open(source).ok()) << report.text;
        decimation.printHeader();
        std::vector<double> all;
        while (const std::size_t frames = decimation.readFrames())
            all.insert(all.end(), decimation.interleaved(), decimation.interleaved() + frames * decimation.channels());
        EXPECT_EQ(decimation.framesOut() * decimation.channels(), all.size());
        EXPECT_EQ(decimation.expectedFrames(), decimation.framesOut());
        peak = decimation.peak();
        return all;
    }

    ReverseSettings settings;
    CollectingReporter report;
    double peak = 0;

private:
    std::atomic<std::uint8_t> flag_{0};
    StopFlag stop{flag_};
};

TEST(DecimationRates, FollowTheRateAskedForAndTheFamily)
{
    struct Case {
        double dsdRate;
        std::uint32_t asked;
        std::uint32_t decimation, outRate, taps;
        const char* text;
    };
    const Case cases[] = {
        {2822400, 0, 64, 44100, 4096, ""},
        {2822400, 88200, 32, 88200, 2048, ""},
        {2822400, 352800, 8, 352800, 512, ""},
        {2822400, 705600, 4, 705600, 256, ""},
        {2822400, 2822400, 1, 2822400, 128, ""},
        {5644800, 0, 128, 44100, 8192, ""},
        {22579200, 0, 512, 44100, 32768, ""},
        {90316800, 0, 2048, 44100, 65536, ""},
        {3072000, 0, 64, 48000, 4096, ""},
        {3072000, 48000, 64, 48000, 4096, ""},
        {2822400, 96000, 64, 44100, 4096,
         "Warning: -pcm 96000 does not divide the DSD rate 2822400 Hz (ratio 29.400) -> decoding at 44100 Hz instead "
         "(44100 = 2822400 / 64); the output stage resamples to the device rate\n"},
        {3072000, 44100, 64, 48000, 4096, "-> decoding at 48000 Hz instead"},
        {2500000, 0, 57, 43859, 3648,
         "Warning: DSD rate 2500000 Hz not integer-multiple of 44100/48000; output 43860 Hz"},
        {20000, 0, 1, 20000, 128, "not integer-multiple"},
    };
    for (const Case& c : cases) {
        ReverseSettings settings;
        settings.pcmRate = c.asked;
        CollectingReporter report;
        const auto rates = settleRates(settings, c.dsdRate, report);
        ASSERT_TRUE(rates.ok()) << c.dsdRate;
        EXPECT_EQ(rates->decimation, c.decimation) << c.dsdRate << ' ' << c.asked;
        EXPECT_EQ(rates->outRate, c.outRate);
        EXPECT_EQ(rates->firTaps, c.taps);
        EXPECT_EQ(rates->skipFrames, (c.taps + c.decimation - 1) / c.decimation);
        EXPECT_EQ(rates->cutoff, c.outRate / 2);
        EXPECT_NE(report.text.find(c.text), std::string::npos) << report.text;
    }
    ReverseSettings settings;
    CollectingReporter report;
    settings.pcmRate = 44100;
    EXPECT_EQ(settleRates(settings, 2500001, report).status(), DSD_ERROR);
    EXPECT_EQ(report.text, "Error: DSD sample rate (2500001 Hz) has no integer decimation to a PCM rate near target "
                           "44100 Hz (ratio 56.689).\n");
    settings.taps = 1001;
    settings.lowpass = 30000;
    const auto odd = settleRates(settings, 2822400, report);
    ASSERT_TRUE(odd.ok());
    EXPECT_EQ(odd->firTaps, 1001U);
    EXPECT_EQ(odd->skipFrames, 16U);
    EXPECT_EQ(odd->cutoff, 22050);
}

// Every inner form: joined (D a multiple of eight), stage by stage (all others); streams that end within a byte.
TEST(Pdm2Pcm, IsAsLongAsTheStreamLessTheTrimAndLiesWhereItDidWhenAligned)
{
    constexpr double kHz = 500;
    for (const std::uint32_t rate : {44100U, 88200U, 352800U, 705600U})
        for (const std::uint64_t samples : {200000U, 200003U, 262144U})
            for (const bool align : {false, true}) {
                ReverseSettings settings;
                settings.pcmRate = rate;
                settings.align = align;
                settings.bitDepth = 64;
                settings.noiseShaping = false;
                MemoryDsd source(2, 2822400, samples, [](std::uint64_t i) {
                    return 0.4 * std::sin(2 * std::numbers::pi * kHz * static_cast<double>(i) / 2822400);
                });
                Decimation decimation(settings);
                const auto pcm = decimation.run(source);
                const std::uint64_t d = 2822400 / rate, taps = std::max<std::uint64_t>(64 * d, 128);
                const std::uint64_t frames = samples / d - (align ? 0 : (taps + d - 1) / d);
                ASSERT_EQ(pcm.size(), 2 * frames) << rate << ' ' << samples << ' ' << align;
                if (!align) continue;
                // The tone's amplitude and place, over whole periods away from the silence at the ends.
                const std::uint64_t period = rate / 100, count = (frames - 80) / period * period;
                double sine = 0, cosine = 0;
                for (std::uint64_t i = 40; i < 40 + count; ++i) {
                    const double angle = 2 * std::numbers::pi * kHz * static_cast<double>(i) / rate;
                    sine += pcm[2 * i] * std::sin(angle);
                    cosine += pcm[2 * i + 1] * std::cos(angle);
                }
                EXPECT_NEAR(2 * std::hypot(sine, cosine) / static_cast<double>(count), 0.4, 1e-3) << rate;
                const double late = -std::atan2(cosine, sine) / (2 * std::numbers::pi * kHz) * 2822400;
                EXPECT_LT(std::abs(late), 0.6) << "one-bit samples, at " << rate << " Hz";
            }
}

TEST(Pdm2Pcm, SilentStreamsAndShortOnes)
{
    for (const std::uint64_t samples : {1U, 7U, 64U, 4095U, 4160U, 4161U}) {
        MemoryDsd source(1, 2822400, samples, [](std::uint64_t) { return 0.0; });
        Decimation decimation(ReverseSettings{});
        EXPECT_EQ(decimation.run(source).size(), samples / 64 > 64 ? samples / 64 - 64 : 0) << samples;
    }
}

TEST(Pdm2Pcm, GainIsAppliedClampedAndToldOnce)
{
    ReverseSettings settings;
    settings.noiseShaping = false;
    settings.floatOutput = true;
    settings.gainDb = 6.0;
    for (int round = 0; round < 2; ++round) {
        MemoryDsd source(2, 2822400, 100000, [](std::uint64_t) { return 2.0; }); // all ones
        Decimation decimation(settings);
        const auto pcm = decimation.run(source);
        ASSERT_FALSE(pcm.empty());
        EXPECT_EQ(*std::min_element(pcm.begin(), pcm.end()), 1.0);
        EXPECT_NEAR(decimation.peak, 1.0, 1e-4) << "measured before the gain";
        EXPECT_EQ(decimation.report.text.find("PDM2PCM: clipping at +6.0 dB gain (samples clamped to full scale) -- "
                                              "reduce the gain for this source\n") != std::string::npos,
                  round == 0);
        EXPECT_NE(decimation.report.text.find("PDM2PCM output gain: +6.0 dB\n"), std::string::npos);
    }
    setOutputGain(-6.0);
    settings.gainDb.reset();
    MemoryDsd source(2, 2822400, 100000, [](std::uint64_t) { return 2.0; });
    EXPECT_NEAR(Decimation(settings).run(source).front(), std::pow(10.0, -0.3), 1e-4);
    setOutputGain(0.0);
}

TEST(Pdm2Pcm, ShapesToTheStepsOfTheWordLength)
{
    for (const int bits : {16, 24}) {
        ReverseSettings settings;
        settings.bitDepth = bits;
        MemoryDsd source(2, 2822400, 300000,
                         [](std::uint64_t i) { return 0.3 * std::sin(1e-3 * static_cast<double>(i)); });
        Decimation decimation(settings);
        const double scale = std::ldexp(1.0, bits - 1) - 1;
        for (const double x : decimation.run(source)) ASSERT_NEAR(x * scale, std::round(x * scale), 1e-6);
        EXPECT_NE(decimation.report.text.find("Noise shaper: on\n"), std::string::npos);
        EXPECT_TRUE(decimation.report.text.starts_with("DSF: 2 ch, 2822400 Hz (64x)\nPCM: 44100 Hz, "));
    }
    ReverseSettings broken;
    broken.pole = 1.0;
    CollectingReporter report;
    std::atomic<std::uint8_t> flag{0};
    StopFlag stop(flag);
    const ReverseEnvironment environment{
        .report = report, .stop = stop, .pool = parallel::WorkerPool::instance(), .kernels = kernel::kernels()};
    MemoryDsd source(1, 2822400, 1000, [](std::uint64_t) { return 0.0; });
    EXPECT_FALSE(Pdm2Pcm(broken, environment).open(source).ok());
    EXPECT_NE(report.text.find("Pole magnitude must be in [0.0, 1.0)"), std::string::npos);
}

} // namespace
} // namespace tesk
