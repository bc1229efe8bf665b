#include "container/reader/dsf_reader.h"

#include "container/dff_writer.h"
#include "container/dsf_layout.h"
#include "container/reader/dff_reader.h"
#include "container/reader/wsd_reader.h"
#include "container/wsd_writer.h"
#include "tests/reader/read_back.h"

namespace tesk {
namespace {

template <class Reader>
std::unique_ptr<DsdReader> open(std::unique_ptr<ByteSource> file, Reporter& report)
{
    if constexpr (std::is_same_v<Reader, DFFReader>)
        return DFFReader::open(std::move(file), kDstScalar, report);
    else
        return Reader::open(std::move(file), report);
}

template <class Writer>
std::unique_ptr<DsdWriter> writer(ByteSink& sink, Reporter& report, int batchBlocks)
{
    return std::make_unique<Writer>(sink, report, batchBlocks);
}

const struct {
    const char* name;
    MakeWriter make;
    OpenReader open;
    std::size_t blockBytes, unit; // per channel: of a conversion at 128x, and what a file is padded to
} kContainers[] = {{"x.dsf", writer<DsfWriter>, open<DsfReader>, 4096, 4096},
                   {"x.wsd", writer<WsdWriter>, open<WsdReader>, 9408, 1},
                   {"x.dff", writer<DffWriter>, open<DFFReader>, 9408, 1}};

TEST(PlainReaders, WhatTheWritersWroteComesBackInAnyPieces)
{
    for (const auto& container : kContainers)
        for (const std::uint32_t channels : {1, 2, 5, 6, 8})
            for (const std::size_t total : {0, 1, 4096, 12000}) {
                const Buffer file = written(container.make, {channels, 5644800, total, 4704}, total, 4704, {});
                auto truth = streamBytes(channels, total);
                for (Buffer& channel : truth) // what DSF pads a block with counts as sound
                    channel.resize((total + container.unit - 1) / container.unit * container.unit, 0x69);
                for (const std::size_t piece : {1, 7, 4096, 10000}) {
                    CollectingReporter report;
                    const auto reader = container.open(std::make_unique<MemorySource>(file), report);
                    ASSERT_TRUE(reader) << report.text;
                    const DsdSource& s = reader->source();
                    EXPECT_EQ(s.multiple(), 128U);
                    EXPECT_EQ(s.samples, 8 * truth[0].size());
                    EXPECT_EQ(s.firstSampleInLowBit, container.unit > 1);
                    EXPECT_EQ(s.blockBytes, container.blockBytes);
                    EXPECT_EQ(readAll(*reader, piece), truth) << container.name << channels << " by " << piece;
                    EXPECT_EQ(report.text, "");
                }
            }
}

class ReadersJudged : public JudgedTest {};

TEST_F(ReadersJudged, FfmpegTakesTheSameBytesOutOfTheFile)
{
    for (const auto& container : kContainers)
        for (const std::uint32_t channels : {1, 2, 6}) {
            if (container.name[2] == 'w') continue; // it cannot count to six there
            const Buffer file = written(container.make, {channels, 2822400, 12288, 4704}, 12288, 4704, {});
            save(container.name, file);
            CollectingReporter report;
            const auto reader = container.open(std::make_unique<MemorySource>(file), report);
            ASSERT_TRUE(reader) << report.text;
            const auto sound = readAll(*reader, 1000);
            std::string truth; // DSF packets are whole block groups
            for (std::size_t at = 0; at < sound[0].size(); at += container.unit)
                for (const Buffer& channel : sound) truth += letters(channel, at, container.unit);
            EXPECT_TRUE(output(format("ffmpeg -v error -i %s -map 0 -c copy -f data -", container.name)) == truth)
                << container.name << channels;
        }
}

/// Stereo, blocks of 16 bytes, three groups of them.
Buffer smallDsf()
{
    const auto sound = streamBytes(2, 48);
    Buffer file = dsfHeader({2, 2822400, 0, 16}, 48);
    put(file, 64, 48 * 8 - 20, 8, ByteOrder::little); // sample count
    put(file, 72, 16, 4, ByteOrder::little);          // block size
    for (std::size_t group = 0; group < 3; ++group)
        for (const Buffer& channel : sound)
            for (std::size_t i = 0; i < 16; ++i) file.push_back(channel[16 * group + i]);
    return file;
}

TEST(DsfReader, WhatEveryFieldMeans)
{
    const char* const early = "Warning             \tDsfReader: the file ends early; 0.000";
    expectOutcomes(open<DsfReader>, smallDsf(), ByteOrder::little, streamBytes(2, 48),
                   {
                       {0, 'D', 1, 188, 364, ""},  // neither whole bytes nor whole blocks
                       {20, 100, 8, 188, 364, ""}, // a tag within the sound
                       {12, 7, 8, 188, 364, ""},   // size of the file
                       {48, 99, 4, 188, 364, ""},  // channel type
                       {64, 385, 8, 188, 384, early},
                       {64, ~0ULL, 8, 188, 384, "DsfReader: the file ends early; "},
                       {64, 0, 8, 188, 384, "counts no samples"},
                       {84, 12 + 64, 8, 188, 256, early}, // the chunk ends after two groups
                       {84, 12 + 95, 8, 188, 364, ""},    // ... or within the padding
                       {84, 12, 8, 188, 0, early},
                       {84, 0, 8, 188, 364, ""}, // a stream whose size nobody knew
                       {84, ~0ULL, 8, 188, 364, ""},
                       {0, 'D', 1, 188 - 8, 320, early}, // the last channel has 8 bytes of the last group
                       {0, 'D', 1, 188 - 16, 256, early},
                       {0, 'd', 1, 188, kRefused, "DsfReader: not a DSF file\n"},
                       {32, 51, 8, 188, kRefused, "DsfReader: the \"fmt \" chunk is cut short\n"},
                       {32, ~0ULL, 8, 188, kRefused, "DsfReader: the file is damaged: it has no \"data\" chunk\n"},
                       {44, 1, 4, 188, kRefused, "DsfReader: only raw DSD can be read\n"},
                       {52, 0, 4, 188, kRefused, "DsfReader: 0 channels cannot be read: 1 to 64 can\n"},
                       {52, 255, 4, 188, kRefused, "DsfReader: 255 channels"},
                       {56, 0, 4, 188, kRefused,
                        "DsfReader: a sampling frequency of 0 Hz cannot be read: 100000 to 49152000 can\n"},
                       {60, 2, 4, 188, kRefused, "DsfReader: 2 bits per sample"},
                       {72, 1048577, 4, 188, kRefused, "DsfReader: blocks of 1048577 bytes"},
                   });
    const Buffer wsd = written(writer<WsdWriter>, {3, 2822400, 50, 50}, 50, 50, {});
    expectOutcomes(open<WsdReader>, wsd, ByteOrder::big, streamBytes(3, 50),
                   {{8, 0x10, 1, wsd.size(), 400, ""},
                    {8, 0x11, 1, wsd.size() - 1, 392, "WsdReader: the file ends early; "},
                    {3, 'T', 1, wsd.size(), kRefused, "WsdReader: not a WSD file\n"},
                    {8, 0x20, 1, wsd.size(), kRefused, "WsdReader: version 0x20 cannot be read: 1.0 and 1.1 can\n"},
                    {44, 0xF0, 1, wsd.size(), kRefused, "WsdReader: 0 channels"},
                    {24, 0x7F, 4, wsd.size(), kRefused, "the sound cannot begin within it\n"}});
}

TEST(DsfReader, ChunksStandWhereTheirSizesSayAndEitherBitOrder)
{
    for (const std::size_t at : {28, 80}) { // in front of "fmt ", and behind it
        Buffer file = smallDsf();
        put(file, 60, 8, 4, ByteOrder::little);
        const Buffer odd = {'o', 'd', 'd', '!', 15, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3};
        file.insert(file.begin() + static_cast<std::ptrdiff_t>(at), odd.begin(), odd.end());
        CollectingReporter report;
        const auto reader = DsfReader::open(std::make_unique<MemorySource>(file), report);
        ASSERT_TRUE(reader) << report.text;
        EXPECT_FALSE(reader->source().firstSampleInLowBit);
        EXPECT_EQ(readAll(*reader, 64), streamBytes(2, 46));
    }
}

TEST(PlainReaders, NoDamageGoesBeyondTheFile)
{
    expectCalmInDamage(open<DsfReader>, smallDsf(), 92);
    expectCalmInDamage(open<WsdReader>, written(writer<WsdWriter>, {3, 2822400, 50, 50}, 50, 50, {}), 128);
    expectCalmInDamage(open<DFFReader>, written(writer<DffWriter>, {2, 2822400, 40, 40}, 40, 40, {}), 144);
}

} // namespace
} // namespace tesk
