#include "container/reader/dff_reader.h"

#include "container/dff_writer.h"
#include "tests/reader/read_back.h"

namespace tesk {
namespace {

std::unique_ptr<DsdReader> open(std::unique_ptr<ByteSource> file, Reporter& report)
{
    return DFFReader::open(std::move(file), kDstScalar, report);
}

std::unique_ptr<DsdWriter> writer(ByteSink& sink, Reporter& report, int batchBlocks)
{
    return std::make_unique<DffWriter>(sink, report, batchBlocks);
}

/// Stereo; sound at 144; "COMT" behind it.
Buffer stereo(std::size_t total = 40) { return written(writer, {2, 2822400, total, 40}, total, 40, {}); }

TEST(DffReader, SizesThatLie)
{
    const char *const incomplete = "DFFReader: incomplete data\n", *const early = "DFFReader: the file ends early; ",
                      *const other = "DFFReader: not an FRM8 file with form type \"DSD \"\n",
                      *const unknown = "the size of the sound is not given; all up to the end of the file is taken\n";
    expectOutcomes(open, stereo(), ByteOrder::big, streamBytes(2, 40),
                   {{4, 132, 8, 224, 320, ""}, // the sound's head ends where the form does
                    {4, 131, 8, 224, kRefused, incomplete},
                    {4, 0, 8, 224, kRefused, incomplete},
                    {4, ~0ULL, 8, 224, 320, ""},
                    {136, 79, 8, 224, 312, ""}, // the last byte of a channel is missing
                    {136, 0, 8, 224, 320, unknown},
                    {136, ~0ULL, 8, 224, 320, unknown},
                    {136, std::uint64_t{1} << 40, 8, 224, 320, "DFFReader: the file ends early; 1558"},
                    {136, 705680, 8, 224, 320, "DFFReader: the file ends early; 1.000 seconds of sound are missing\n"},
                    {136, 80, 8, 223, 312, early},
                    {136, 80, 8, 144, 0, early},
                    {136, 80, 8, 143, kRefused, incomplete},
                    {0, 'f', 1, 224, kRefused, other},
                    {15, 'T', 1, 224, kRefused, other}});
    // A size of 0 that is meant: the comments behind it are no sound.
    expectOutcomes(open, stereo(0), ByteOrder::big, streamBytes(2, 0), {{136, 0, 8, stereo(0).size(), 0, ""}});
}

TEST(DffReader, ChunksInAnyOrderWithTheirPads)
{
    const Buffer fs = chunk("FS  ", {0, 0x2B, 0x11, 0}),
                 channels = chunk("CHNL", text(std::string("\0\3MLFTMRGT", 10)));
    const Buffer name = text("DSD \x0Enot compressed"), odd = chunk("odd!", {1, 2, 3}), snd = text("SND ");
    const Buffer sound = chunk("DSD ", {1, 2, 3, 4, 5, 6, 7});
    const struct {
        Buffer prop;
        std::string text;
    } table[] = {
        {joined({snd, chunk("CMPR", name), channels, odd, fs}), ""},
        {joined({snd, fs, channels, chunk("CMPR", name, false)}), ""}, // the last pad may be missing
        {joined({snd, fs, channels}), ""},
        {joined({snd, fs}), "DFFReader: 0 channels cannot be read: 1 to 64 can\n"},
        {joined({snd, channels}), "DFFReader: a sample rate of 0 Hz cannot be read: 100000 to 49152000 can\n"},
        {joined({text("SNX "), fs, channels}), "DFFReader: a sample rate of 0 Hz"},
        {joined({snd, fs, channels, chunk("CMPR", text("ADPC"))}), "DFFReader: compression \"ADPC\" is unknown\n"},
        {joined({snd, fs, chunk("CHNL", {0, 65})}), "DFFReader: 65 channels"},
        {joined({snd, fs, chunk("CHNL", {0, 255})}), "DFFReader: 255 channels"},
    };
    for (const auto& row : table) {
        const Buffer file =
            chunk("FRM8", joined({text("DSD "), odd, chunk("PROP", row.prop), odd, sound, chunk("COMT", {0, 0})}));
        CollectingReporter report;
        const auto reader = DFFReader::open(std::make_unique<MemorySource>(file), kDstScalar, report);
        EXPECT_EQ(!reader, !row.text.empty());
        EXPECT_TRUE(report.text.starts_with(row.text)) << report.text;
        if (!reader) continue;
        EXPECT_EQ(reader->properties().channelIds, (std::vector<std::string>{"MLFT", "MRGT"})) << "one is missing";
        EXPECT_EQ(readAll(*reader, 4096), (std::vector<Buffer>{{1, 4}, {2, 5}, {3, 6}}));
        EXPECT_EQ(report.text, "");
    }
}

} // namespace
} // namespace tesk
