#include "tests/filter/filter_fixture.h"

namespace tesk {
namespace {

FilterRequest request(int rate, int oversampling, int bits)
{
    FilterRequest r;
    r.sampleRate = r.sourceRate = rate;
    r.oversampling = oversampling;
    r.bitDepth = bits;
    return r;
}

PDM_ENCODING_STATUS refused(const FilterRequest& r, std::string& text)
{
    CollectingReporter reporter;
    const auto plan = settleFilter(r, reporter);
    EXPECT_FALSE(plan.ok());
    text = reporter.text;
    return plan.status();
}

} // namespace

// Worked out by hand from the published estimate.
TEST(FilterPlan, SettlesTheCommonRates)
{
    const struct {
        int rate, oversampling, bits;
        double alpha;
        int passband, stopband, taps, tapsPerPhase;
        double beta;
    } table[] = {{44100, 64, 16, 172.0, 22050, 22150, 8192, 128, 6.0},
                 {44100, 64, 24, 268.0, 22050, 22150, 8192, 128, 6.0},
                 {44100, 64, 0, 268.0, 22050, 22150, 8192, 128, 6.0},
                 {48000, 64, 24, 268.0, 24000, 24100, 16384, 256, 6.0},
                 {96000, 32, 24, 134.0, 48000, 48100, 16384, 512, 6.0},
                 {192000, 16, 24, 67.0, 96000, 100800, 4096, 256, 8.0},
                 {352800, 8, 24, 33.5, 176400, 185220, 4096, 512, 8.0},
                 {44100, 4096, 24, 17152.0, 22050, 22150, 1048576, 256, 6.0}};
    for (const auto& e : table) {
        const FilterPlan p = settled(request(e.rate, e.oversampling, e.bits));
        SCOPED_TRACE(std::to_string(e.rate) + " x " + std::to_string(e.oversampling));
        EXPECT_DOUBLE_EQ(p.alpha, e.alpha);
        EXPECT_EQ(p.passbandCutoff, e.passband);
        EXPECT_EQ(p.stopbandCutoff, e.stopband);
        EXPECT_DOUBLE_EQ(p.deltaF, e.stopband - e.passband);
        EXPECT_EQ(p.taps, e.taps);
        EXPECT_EQ(p.phases, e.oversampling);
        EXPECT_EQ(p.tapsPerPhase, e.tapsPerPhase);
        EXPECT_EQ(p.beta, e.beta);
    }
    for (const auto& [bits, db] : {std::pair{16, 86}, {24, 134}, {8, 60}, {32, 144}, {-3, 134}})
        EXPECT_EQ(sourceAttenuationDb(bits), db) << bits;
}

TEST(FilterPlan, PrintsItsLinesInOrder)
{
    std::string text;
    FilterRequest r = request(44100, 64, 16);
    r.deltaF = 99.6;
    settled(r, &text);
    EXPECT_EQ(text, "Filter Type:        \tstandard\n"
                    "Passband Cutoff:    \t22050(Hz)\n"
                    "Stopband Cutoff:    \t22150(Hz)\n"
                    "Delta f:            \t100(Hz)\n"
                    "Stop Gain Alpha:    \t172\n"
                    "DefTaps:            \t8192\n"
                    "PDM Channels:       \t2\n");
    r.filterType = filterMinimumPhase;
    settled(r, &text);
    EXPECT_EQ(text.find("Filter Type:        \tminimum phase\nPassband Cutoff:    \t22050"), 0u);
}

TEST(FilterPlan, WidensTheBandOnlyWhereTheRulesSaySo)
{
    FilterRequest r = request(48000, 64, 24);
    r.filterType = filterSlowRollOff;
    EXPECT_EQ(settled(r).passbandCutoff, 15840);
    EXPECT_EQ(settled(r).stopbandCutoff, 36000);

    std::string text;
    r = request(192000, 16, 24);
    r.highBandwidth = true;
    const FilterPlan wide = settled(r, &text);
    EXPECT_EQ(wide.stopbandCutoff, 96100);
    EXPECT_EQ(wide.deltaF, 100.0);
    EXPECT_EQ(wide.beta, 12.0);
    EXPECT_EQ(text.find("Warning             \tstopband_cutoff(24000) <= passband_cutoff(96000); forcing 100 Hz "
                        "transition\nFilter Type:"),
              0u);
    r.sampleRate = r.sourceRate = 176400;
    EXPECT_EQ(settled(r).stopbandCutoff, 88300);

    r = request(44100, 64, 24);
    r.sourceRate = 96000; // resampled down: the slope may not reach for the file's band
    EXPECT_EQ(settled(r).stopbandCutoff, 22050 + 1103);
    r.sampleRate = r.sourceRate = 96001;
    EXPECT_EQ(settled(r).beta, 8.0);
    r.beta = 9.5;
    EXPECT_EQ(settled(r).beta, 9.5);
}

TEST(FilterPlan, SplitsTheTapsIntoPhasesOrSaysWhyNot)
{
    FilterRequest r = request(44100, 64, 24);
    r.pcmSampleRateRatio = 3.0;
    EXPECT_EQ(settled(r).phases, 21);
    EXPECT_EQ(settled(r).tapsPerPhase, 8192 / 21);
    std::string text;
    r.pcmSampleRateRatio = 0.0;
    EXPECT_EQ(settled(r, &text).phases, 64);
    EXPECT_NE(text.find("Warning             \tpcmsampleRateRatio(0.000) invalid; clamping to 1.0\n"),
              std::string::npos);

    r.pcmSampleRateRatio = 1.0;
    r.oversampling = 1024;
    r.taps = 512;
    EXPECT_EQ(refused(r, text), DSD_ERROR_ASSERT);
    EXPECT_EQ(text.find("TAPS must be even and >= 512.\n512 taps cannot be divided among 1024 phases"), 0u);
    for (int taps : {511, 510, 1001, -512}) {
        r.oversampling = 64;
        r.taps = taps;
        EXPECT_EQ(refused(r, text), DSD_ERROR_ASSERT) << taps;
    }
    r.taps = 600;
    EXPECT_EQ(settled(r).taps, 600);
}

// Whatever the settings, a filter of an allowed size: no overflow, no wrap of a shift.
TEST(FilterPlan, EstimatesAreAlwaysAllowedSizes)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> exponent(-3.0, 12.0);
    for (int i = 0; i < 20000; ++i) {
        const double alpha = std::pow(10.0, exponent(random)) - 5.0;
        const double width = std::pow(10.0, exponent(random)) - 1e-3, rate = std::pow(10.0, exponent(random));
        const int oversampling = static_cast<int>(random() % 70000) - 10;
        const int taps = estimateWindowTaps(alpha, width, rate, oversampling);
        EXPECT_TRUE(std::has_single_bit(static_cast<unsigned>(taps)) && taps >= 4096 && taps <= 1048576) << taps;
        const double needed = (alpha - 7.95) / (14.36 * width / rate);
        if (width > 0.0 && needed < std::min(1048576.0, 4096.0 * oversampling)) {
            EXPECT_GE(taps, needed);
        }
        const auto remez = estimateRemezTaps(width, rate, alpha, 44100.0);
        EXPECT_TRUE(std::has_single_bit(static_cast<unsigned>(remez.taps)) && remez.taps >= 512 && remez.taps <= 2048);
    }
    EXPECT_EQ(estimateWindowTaps(1e9, 1.0, 44100.0, 2), 8192) << "a power of two is not rounded up";
    EXPECT_EQ(estimateWindowTaps(100.0, 0.0, 44100.0, 1), 4096);
    EXPECT_EQ(estimateWindowTaps(100.0, 100.0, -1.0, 1), 4096);
}

TEST(FilterPlan, RemezSettlesItsOwnCutoffsAndTaps)
{
    // (90 − 7.95)/(14.36·4096/44100) + 1 = 62.5, times 1.2: 76 taps, so the least; 400 dB over 1 kHz: 1449 → 2048.
    const struct {
        double stopband, alpha;
        int taps;
        bool clamped;
    } table[] = {{24096, 90, 512, false},
                 {21000, 400, 2048, false},
                 {21000, 250, 1024, false}, // 894 taps
                 {20100, 1e9, 2048, true},
                 {24096, -90, 512, false}};
    for (const auto& e : table) {
        EXPECT_EQ(estimateRemezTaps(20000, e.stopband, e.alpha, 44100).taps, e.taps) << e.alpha;
        EXPECT_EQ(estimateRemezTaps(20000, e.stopband, e.alpha, 44100).clamped, e.clamped) << e.alpha;
    }
    EXPECT_TRUE(estimateRemezTaps(20000, 24096, 90, 0).invalidRate);

    FilterRequest r = request(44100, 64, 16);
    r.remez = true;
    std::string text;
    const FilterPlan plan = settled(r, &text);
    EXPECT_EQ(plan.passbandCutoff, 22050);
    EXPECT_EQ(plan.stopbandCutoff, 26146);
    EXPECT_EQ(plan.taps, 512);
    r.passbandCutoff = 20000;
    r.stopbandCutoff = 20050;
    r.sourceRate = 0;
    settled(r, &text);
    EXPECT_EQ(
        text.find("Warning             \tRemez tap estimation: invalid sampleRate(0); using 44100\n"
                  "Warning             \tRemez estimated taps 2048 exceeds convergence envelope (2048); clamping\n"),
        0u);
    r.stopbandCutoff = 20000;
    EXPECT_EQ(refused(r, text), DSD_ERROR_ASSERT);
    EXPECT_NE(text.find("Error : Remez: stopband_cutoff must be > passband_cutoff\n"), std::string::npos);
}

} // namespace tesk
