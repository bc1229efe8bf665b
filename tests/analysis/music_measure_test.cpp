// Held against EBU Tech 3341 and 3342, whose test signals and their readings are published, and against signals whose
// spectrum is known.
#include "analysis/music_measure.h"

#include <atomic>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <vector>

namespace tesk::analysis {
namespace {

constexpr std::uint32_t kRate = 48000;

std::atomic<std::uint8_t> request{0};

using Channel = std::vector<double>;

double decibels(double db) { return std::pow(10.0, db / 20); }

void addTone(Channel& to, double seconds, double hz, double db)
{
    const std::size_t first = to.size(), count = static_cast<std::size_t>(seconds * kRate);
    for (std::size_t i = first; i < first + count; ++i)
        to.push_back(decibels(db) * std::sin(2 * std::numbers::pi * hz * static_cast<double>(i) / kRate));
}

MusicMeasure measure(const std::vector<Channel>& channels)
{
    std::vector<const double*> pointers;
    for (const Channel& c : channels) pointers.push_back(c.data());
    const auto m = measureMusic(pointers, channels[0].size(), kRate, StopFlag(request));
    EXPECT_TRUE(m.ok());
    return m ? *m : MusicMeasure{};
}

TEST(MusicMeasureTest, ReadsThePublishedSignalsOfTheMeter)
{
    Channel tone;
    addTone(tone, 20, 1000, -23); // 3341, case 1
    const MusicMeasure steady = measure({tone, tone});
    EXPECT_NEAR(steady.loudnessLufs, -23, 0.1);
    EXPECT_NEAR(steady.rangeLu, 0, 0.1);
    EXPECT_NEAR(steady.peakDbfs, -23, 0.01);
    EXPECT_NEAR(steady.crestDb, 3.01, 0.01);
    for (const auto& [first, second] : {std::pair{-20.0, -30.0}, {-20.0, -15.0}}) { // 3342, cases 1 and 2
        Channel steps;
        addTone(steps, 20, 1000, first);
        addTone(steps, 20, 1000, second);
        EXPECT_NEAR(measure({steps, steps}).rangeLu, std::abs(first - second), 1.0);
    }
}

TEST(MusicMeasureTest, FindsTheEndOfTheSpectrumInAnyChannelAndMoment)
{
    Channel low, high;
    addTone(low, 3, 5000, -6);
    addTone(high, 3, 15000, -80); // 74 dB below the other
    const double bin = kRate / 8192.0;
    EXPECT_NEAR(measure({low}).bandwidthHz, 5000, 10 * bin);
    for (const auto& scene : {std::vector{low, high}, {high, low}, {low, low, high}})
        EXPECT_NEAR(measure(scene).bandwidthHz, 15000, 10 * bin);
    low[70001] += 0.5; // a click has every frequency
    EXPECT_GT(measure({low}).bandwidthHz, 23900);
}

TEST(MusicMeasureTest, BearsWhatIsNoMusic)
{
    const MusicMeasure silence = measure({Channel(20000, 0.0)});
    EXPECT_EQ(silence.bandwidthHz, 0);
    EXPECT_EQ(measure({Channel{}}).bandwidthHz, 0);
    EXPECT_EQ(measure({Channel(100, 0.5)}).bandwidthHz, kRate / 2.0);
    Channel broken(20000, 0.1);
    broken[12345] = std::nan("");
    EXPECT_GT(measure({broken}).peakDbfs, -21);
    EXPECT_EQ(measureMusic({}, 0, kRate, StopFlag(request)).status(), DSD_ERROR_INIT);
    request = 1;
    const double sample = 0.5, *channel = &sample;
    EXPECT_EQ(measureMusic(std::span(&channel, 1), 1, kRate, StopFlag(request)).status(), kHostStopped);
    request = 0;
}

} // namespace
} // namespace tesk::analysis
