// Whole conversions of a disc image: the list, one track, every track, everything.
#include "tests/reader/sacd_image.h"

#include "engine/base/paths.h"
#include "input/tags/tag_set.h"
#include "pipeline/kernel/dispatch.h"
#include "platform/files.h"
#include "reverse/disc_tracks.h"
#include "reverse/reverse_job.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <unistd.h>

namespace tesk {
namespace {

class DiscJob : public ::testing::Test {
protected:
    DiscJob() : folder(std::filesystem::temp_directory_path() / ("tesk_disc_" + std::to_string(getpid())))
    {
        std::filesystem::create_directories(folder);
        disc::Area area;
        for (int f = 0; f < 150; ++f) area.frames.push_back(disc::Bytes(2 * 4704, f < 60 ? 0x69 : 0x96));
        area.tracks = {{.start = 0, .frames = 60, .title = "One / two", .performer = "Performer"},
                       {.start = 60, .frames = 90, .title = "Zwei"}};
        writeDisc(area);
        settings.inputPath = at("disc.iso");
        settings.outputPath = at("out.wav");
        settings.bitDepth = 16;
        settings.align = true;
    }
    ~DiscJob() override { std::filesystem::remove_all(folder); }

    /// @param damaged  a sector of the sound that is broken; negative for none
    void writeDisc(const disc::Area& area, int damaged = -1) const
    {
        disc::Image image{.areas = {area}, .discTitle = "Disc", .discArtist = "Artist"};
        disc::build(image);
        if (damaged >= 0) image.sectors[image.areas[0].first + static_cast<std::uint32_t>(damaged)][1] |= 7;
        const disc::Bytes file = disc::fileOf(image);
        std::ofstream(at("disc.iso"), std::ios::binary)
            .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    }
    std::string at(const std::string& name) const { return (folder / name).string(); }
    PDM_ENCODING_STATUS run()
    {
        report.text.clear();
        StopFlag stop(flag);
        return convertPdmToPcm(
            settings,
            {.report = report, .stop = stop, .pool = parallel::WorkerPool::instance(), .kernels = kernel::kernels()});
    }
    /// Bytes of the sound alone: 44 bytes of head, tags behind.
    std::uint64_t dataBytes(const std::string& name) const
    {
        std::ifstream in(at(name), std::ios::binary);
        std::uint32_t size = 0;
        in.seekg(40).read(reinterpret_cast<char*>(&size), 4);
        return size;
    }

    /// The sound of a file of doubles: 56 bytes of head.
    std::vector<double> doubles(const std::string& name) const
    {
        std::ifstream in(at(name), std::ios::binary);
        std::uint32_t size = 0;
        in.seekg(52).read(reinterpret_cast<char*>(&size), 4);
        std::vector<double> sound(size / 8);
        in.read(reinterpret_cast<char*>(sound.data()), size);
        return sound;
    }

    std::filesystem::path folder;
    ReverseSettings settings;
    CollectingReporter report;
    std::atomic<std::uint8_t> flag{0};
};

TEST_F(DiscJob, TracksAreFilesWithTheirNamesAndTags)
{
    settings.discTracks = ReverseSettings::DiscTracks::all;
    ASSERT_EQ(run(), DSD_SUCCESS) << report.text;
    EXPECT_EQ(dataBytes("out - 01 - One _ two.wav"), 60 * 588 * 4U);
    EXPECT_EQ(dataBytes("out - 02 - Zwei.wav"), 90 * 588 * 4U);
    const TagSet tags = readTagSet(at("out - 01 - One _ two.wav"));
    EXPECT_EQ(tags.texts.at("TITLE") + "|" + tags.texts.at("ARTIST") + "|" + tags.texts.at("ALBUM") + "|" +
                  tags.texts.at("TRACK"),
              "One / two|Performer|Disc|1");
    settings.discTracks = ReverseSettings::DiscTracks::one;
    settings.discTrack = 2;
    ASSERT_EQ(run(), DSD_SUCCESS);
    EXPECT_EQ(dataBytes("out.wav"), 90 * 588 * 4U);
    settings.discTracks = ReverseSettings::DiscTracks::whole;
    settings.gainAuto = true; // reads everything twice
    ASSERT_EQ(run(), DSD_SUCCESS);
    EXPECT_EQ(dataBytes("out.wav"), 150 * 588 * 4U);
    EXPECT_EQ(readTagSet(at("out.wav")).texts.at("TITLE"), "Disc");
}

// Cut at the tracks' borders, the recording is the same sample by sample; damage counts for its own track only.
TEST_F(DiscJob, TracksJoin)
{
    std::mt19937 random(5);
    for (const bool dst : {false, true}) {
        SCOPED_TRACE(dst);
        disc::Area area;
        for (std::uint32_t f = 0; f < 90; ++f) {
            area.frames.emplace_back(2 * 4704);
            for (auto& byte : area.frames.back()) byte = static_cast<std::uint8_t>(random());
            if (dst) area.frames.back().insert(area.frames.back().begin(), 0); // coded as it is
        }
        area.format = dst ? 0 : 2;
        area.tracks = {{.start = 2, .frames = 30}, {.start = 32, .frames = 1}, {.start = 33, .frames = 50}};
        writeDisc(area);
        settings.bitDepth = 64;
        settings.discTracks = ReverseSettings::DiscTracks::whole;
        ASSERT_EQ(run(), DSD_SUCCESS) << report.text;
        const std::vector<double> whole = doubles("out.wav");
        settings.discTracks = ReverseSettings::DiscTracks::all;
        ASSERT_EQ(run(), DSD_SUCCESS) << report.text;
        std::vector<double> joined;
        for (const char* name : {"out - 01.wav", "out - 02.wav", "out - 03.wav"})
            for (const double x : doubles(name)) joined.push_back(x);
        ASSERT_EQ(joined.size(), whole.size());
        for (std::size_t i = 0; i < whole.size(); ++i) ASSERT_NEAR(joined[i], whole[i], 1e-9) << i;
    }
}

TEST_F(DiscJob, DamageCountsForItsTrackOnce)
{
    disc::Area area;
    for (int f = 0; f < 150; ++f) area.frames.push_back(disc::Bytes(2 * 4704, 0x69));
    area.tracks = {{.start = 0, .frames = 75}, {.start = 75, .frames = 75}};
    writeDisc(area, 40);
    settings.discTracks = ReverseSettings::DiscTracks::all;
    settings.gainAuto = true;
    ASSERT_EQ(run(), DSD_SUCCESS) << report.text;
    const std::size_t found = report.text.find("problem summary -- damaged sectors 1,");
    EXPECT_NE(found, std::string::npos) << report.text;
    EXPECT_EQ(report.text.find("problem summary", found + 1), std::string::npos) << report.text;
}

TEST_F(DiscJob, ListsRefusesAndStops)
{
    settings.discTracks = ReverseSettings::DiscTracks::list;
    settings.outputPath.clear();
    EXPECT_EQ(run(), DSD_SUCCESS);
    EXPECT_EQ(report.text.substr(report.text.find("Artist - Disc")),
              "Artist - Disc, 2003-11-05\nStereo area, 2 channels, 2.8224 MHz, plain DSD\n"
              "Track      Start       Time  Performer - Title\n"
              "    1    0:00.00    0:00.80  Performer - One / two\n"
              "    2    0:00.80    0:01.20  Artist - Zwei\n");
    settings.outputPath = at("out.wav");
    settings.discTracks = ReverseSettings::DiscTracks::one;
    settings.discTrack = 3;
    EXPECT_EQ(run(), DSD_ERROR);
    EXPECT_NE(report.text.find("the disc has no track 3; it has 2"), std::string::npos);
    settings.discTrack = 1;
    settings.area = SacdAreaChoice::multichannel;
    EXPECT_EQ(run(), DSD_ERROR);
    EXPECT_FALSE(std::filesystem::exists(at("out.wav")));
    settings.area = SacdAreaChoice::automatic;
    settings.discTracks = ReverseSettings::DiscTracks::all;
    flag = 1;
    EXPECT_EQ(run(), kHostStopped);
    EXPECT_TRUE(std::filesystem::exists(at("out - 01 - One _ two.wav"))) << "closed with what it had";
    EXPECT_FALSE(std::filesystem::exists(at("out - 02 - Zwei.wav"))) << "never begun";
}

TEST(DiscTrackPath, HoldsWhatAFileNameCan)
{
    EXPECT_EQ(discTrackPath("a/b.flac", 7, ""), "a/b - 07.flac");
    EXPECT_EQ(discTrackPath("Vol. 2", 1, "T"), "Vol. 2 - 01 - T");
    EXPECT_EQ(discTrackPath("a/b.flac", 7, "x:y?\n..."), "a/b - 07 - x_y__.flac");
    std::string longTitle;
    for (int i = 0; i < 200; ++i) longTitle += "ü";
    const std::string path = discTrackPath("a/b.flac", 100, longTitle);
    EXPECT_LE(path.size() - 2, platform::longestFileName());
    EXPECT_TRUE(path.ends_with("ü.flac")) << path;
}

} // namespace
} // namespace tesk
