#include "container/wsd_writer.h"

#include "container/wsd_layout.h"
#include "tests/container/writer_fixture.h"

namespace tesk {
namespace {

std::unique_ptr<DsdWriter> wsdWriter(ByteSink& sink, Reporter& report, int batchBlocks)
{
    return std::make_unique<WsdWriter>(sink, report, batchBlocks);
}

MetadataRecord longTags()
{
    MetadataRecord m = allTags();         // the track has no field
    m.genre = std::string(31, 'g') + "ü"; // the last character would be cut in two
    m.comment = std::string(600, 'c');
    return m;
}

TEST(WsdWriter, EveryFieldAtItsOffsetForEveryChannelCount)
{
    // By loudspeaker bits: 30 front left, 28 centre, 26 front right, 24 LFE, 6 and 2 back left and right, 0 none named.
    const std::uint32_t assignments[] = {0x10000000, 0x44000000, 0x54000000, 0x44000044, 0x54000044, 0x55000044, 1, 1};
    for (std::uint32_t channels = 1; channels <= 8; ++channels) {
        const Buffer file = written(wsdWriter, {channels, 2822400, 470, 47}, 470, 47, longTags());
        ASSERT_EQ(file.size(), 2048 + channels * 470);
        EXPECT_TRUE(holdsStream(file, 2048, channels, 470));
        EXPECT_EQ(letters(file, 0, 4), "1bit");
        EXPECT_EQ(file[8], 0x11);
        EXPECT_EQ(bigEndian(file, 12, 4), file.size());
        EXPECT_EQ(bigEndian(file, 20, 4), 0x80U);
        EXPECT_EQ(bigEndian(file, 24, 4), 0x800U);
        EXPECT_EQ(bigEndian(file, 36, 4), 2822400U);
        EXPECT_EQ(file[44], channels);
        EXPECT_EQ(bigEndian(file, 48, 4), assignments[channels - 1]);
        Buffer rest(file.begin(), file.begin() + 2048); // zero but for these and the texts
        for (const auto& [from, to] :
             {std::pair{0, 4}, {8, 9}, {12, 16}, {20, 28}, {36, 40}, {44, 45}, {48, 52}, {128, 0x760}})
            std::fill(rest.begin() + from, rest.begin() + to, 0);
        EXPECT_EQ(rest, Buffer(2048));
    }
}

TEST(WsdLayout, TextsKeepToTheirFieldsAndLongRecordingsToTheirs)
{
    const struct {
        std::size_t offset, width;
        std::string text;
    } fields[] = {{0x80, 128, "Überfahrt"},
                  {0x100, 256, ""}, // composer, song writer
                  {0x200, 128, "Trio"},
                  {0x280, 128, "Hafen"},
                  {0x300, 32, std::string(31, 'g')},
                  {0x320, 32, "1999"},
                  {0x340, 32, ""}, // location
                  {0x360, 512, std::string(512, 'c')},
                  {0x560, 512, ""}}; // user
    // 11 h 59 min 58.5 s of six channels: beyond 32 bits, and two digits in every part of the time.
    const std::uint64_t bytes = (11 * 3600 + 59 * 60 + 58) * std::uint64_t{352800} + 176400;
    const auto header = wsdHeader({6, 2822400, 0, 8}, bytes, longTags());
    for (const auto& field : fields) {
        std::string padded = field.text;
        padded.resize(field.width, ' ');
        EXPECT_EQ(letters(header, field.offset, field.width), padded) << field.offset;
    }
    EXPECT_EQ(bigEndian(header, 16, 4) << 32 | bigEndian(header, 12, 4), 2048 + 6 * bytes);
    EXPECT_EQ(bigEndian(header, 32, 4), 0x00585911U) << "frames, seconds, minutes, hours";
    EXPECT_EQ(bigEndian(wsdHeader({6, 2822400, 0, 8}, bytes * 10, {}), 32, 4), 0x00595999U);
}

class WsdJudged : public JudgedTest {};

TEST_F(WsdJudged, FfmpegHearsWhatItHearsFromADsfFile)
{
    for (const std::uint32_t channels : {1, 2}) { // it reads 1024 bytes at a time, whose channels others would mix up
        const DsdStreamInfo info{channels, 2822400, 4096 * 5, 4704};
        expectSoundOfDsf("x.wsd", written(wsdWriter, info, info.bytes, 4704, longTags()), info);
        expectFacts("x.wsd", {format("channels=%u\n", channels), "sample_rate=352800\n", "TAG:title=Überfahrt ",
                              "TAG:artist=Trio ", "TAG:album=Hafen "});
    }
}

TEST(WsdWriter, OneFileForOneStreamAndAFullDiskIsAStatus)
{
    expectOneFile(wsdWriter, longTags());
    // Header, five batches, the header again, the last flush.
    EXPECT_EQ(fullDisk(wsdWriter, longTags()), (std::vector<int>{-60, -1, -1, -1, -1, -1, -60, -53, 0}));
}

TEST(WsdWriter, WhatCannotBeWrittenIsSaid)
{
    const struct {
        std::uint32_t channels;
        int calls;
        bool seekable, tagged, succeeds;
        const char* text;
    } table[] = {
        {2, 0, true, false, false, "Report              \tWSD: header write failed\n"},
        {2, 6, true, false, false, "Report              \tWSD: header write failed\n"},
        {2, 99, false, false, true, ""},
        {2, 99, false, true, true,
         "Warning             \tthe output cannot seek: its WSD header keeps the expected sizes and no tags\n"},
        {0, 99, true, false, false, "Error : a WSD file holds 1 to 15 channels, not 0\n"},
        {16, 99, true, false, false, "Error : a WSD file holds 1 to 15 channels, not 16\n"}};
    for (const auto& row : table) {
        FaultySink sink(row.calls, row.seekable);
        CollectingReporter report;
        WsdWriter writer(sink, report, 2);
        const Status status =
            run(writer, {row.channels, 2822400, 160, 16}, 160, 16, row.tagged ? longTags() : MetadataRecord{}, report);
        EXPECT_EQ(status.ok(), row.succeeds);
        EXPECT_EQ(report.text, row.text);
    }
}

} // namespace
} // namespace tesk
