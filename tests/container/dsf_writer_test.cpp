#include "container/dsf_writer.h"

#include "container/dsf_layout.h"
#include "tests/container/writer_fixture.h"

namespace tesk {
namespace {

std::uint64_t number(const Buffer& bytes, std::size_t at)
{
    std::uint64_t value = 0;
    for (std::size_t i = 8; i-- > 0;) value = value << 8 | bytes.at(at + i);
    return value;
}

std::unique_ptr<DsdWriter> dsfWriter(ByteSink& sink, Reporter& report, int batchBlocks)
{
    return std::make_unique<DsfWriter>(sink, report, batchBlocks);
}

// Every byte of every channel at its place, for block lengths below, at and above a DSF block and for tails in a fresh
// and in a used block; batches of any size change nothing.
TEST(DsfWriter, LaysOutBlocksPerChannelAndFillsTheTailWithSilence)
{
    for (const std::uint32_t factor : {8, 64, 512, 588})
        for (const std::uint32_t channels : {1, 2, 6})
            for (const int batch : {2, 8})
                for (const std::size_t blocks : {1, 3, 32}) {
                    const std::size_t real = 8 * factor * blocks, whole = (real + 4095) / 4096 * 4096;
                    const DsdStreamInfo info{channels, 2822400, real, std::size_t{8} * factor};
                    EXPECT_EQ(dsfBytesPerChannel(info), whole) << "the sizes expected at the start are right";
                    MemorySink sink;
                    CollectingReporter report;
                    ASSERT_TRUE(run(*dsfWriter(sink, report, batch), info, real, info.blockBytes, {}, report));
                    ASSERT_EQ(sink.bytes.size(), 92 + channels * whole);
                    for (std::uint32_t c = 0; c < channels; ++c)
                        for (std::size_t i = 0; i < whole; ++i) {
                            const std::size_t at = 92 + (i / 4096 * channels + c) * 4096 + i % 4096;
                            ASSERT_EQ(sink.bytes[at], i < real ? streamByte(c, i) : 0x69) << c << ' ' << i;
                        }
                    EXPECT_EQ(report.text.find("DSF tail flushed") != std::string::npos, real != whole);
                    EXPECT_EQ(number(sink.bytes, 12), sink.bytes.size());
                    EXPECT_EQ(number(sink.bytes, 20), 0U);
                    EXPECT_EQ(number(sink.bytes, 64), whole * 8);
                    EXPECT_EQ(number(sink.bytes, 84), channels * whole + 12);
                }
}

// Six hours of DSD1024 in six channels: far beyond 32 bits, in every size of the header.
TEST(DsfLayout, LongRecordingsOverflowNothing)
{
    const std::uint64_t frames = std::uint64_t{6} * 3600 * 44100;
    const DsdStreamInfo info{6, 45158400, frames * 128, 588 * 128};
    const std::uint64_t bytes = dsfBytesPerChannel(info);
    EXPECT_EQ(bytes, frames * 1024 / 8 / 4096 * 4096 + (frames * 128 % 4096 != 0 ? 4096 : 0));
    const auto header = dsfHeader(info, bytes);
    EXPECT_EQ(number(header, 12), 6 * bytes + 92);
    EXPECT_EQ(number(header, 64), bytes * 8);
    EXPECT_EQ(number(header, 84), 6 * bytes + 12);
}

TEST(DsfWriter, TagStandsBehindTheDataAndTheHeaderPointsToIt)
{
    const Buffer file = written(dsfWriter, {2, 2822400, 4704, 4704}, 4704, 4704, allTags());
    const auto pointer = static_cast<std::size_t>(number(file, 20));
    EXPECT_EQ(pointer, 92U + 2 * 8192);
    EXPECT_EQ(number(file, 12), pointer) << "the total size leaves the tag out";
    EXPECT_EQ(letters(file, pointer, 3), "ID3");
}

// Nothing that happens to the tag may cost the music.
TEST(DsfWriter, ATagOutOfReachIsAWarning)
{
    const struct {
        bool seekable;
        Patched ends;
        bool tagged, pointed;
        const char* text;
    } table[] = {{true, Patched::outOfReach, true, false, "Warning: TESK_FSEEK64(20) failed in writeId3TagDSF\n"},
                 {true, Patched::notAtEnd, true, true, "Warning: TESK_FSEEK64(end) failed in writeId3TagDSF\n"},
                 {false, Patched::done, false, false, "       (the output cannot seek, so the tag is left out)\n"}};
    for (const auto& row : table) {
        FaultySink sink(1000, row.seekable);
        sink.patchEnds = row.ends;
        CollectingReporter report;
        ASSERT_TRUE(run(*dsfWriter(sink, report, 2), {2, 2822400, 4704, 4704}, 4704, 4704, allTags(), report));
        EXPECT_EQ(sink.memory.bytes.size() > 92 + 2 * 8192, row.tagged);
        EXPECT_EQ(number(sink.memory.bytes, 20) != 0, row.pointed);
        EXPECT_TRUE(report.text.ends_with(row.text)) << report.text;
    }
}

TEST(DsfWriter, AStopHandsOnWholeBlocksOnly)
{
    MemorySink sink;
    CollectingReporter report;
    DsfWriter writer(sink, report, 8);
    ASSERT_TRUE(feed(writer, {2, 2822400, 4704 * 10, 4704}, 4704 * 3, 4704));
    ASSERT_TRUE(writer.stop());
    EXPECT_EQ(sink.bytes.size(), 92U + 2 * 3 * 4096);
    EXPECT_GT(number(sink.bytes, 12), sink.bytes.size()) << "the header keeps what it expected";
}

TEST(DsfWriter, OneFileForOneStreamAndAFullDiskIsAStatus)
{
    expectOneFile(dsfWriter, allTags());
    // Header; the batches, of which the last fills up by itself or not; the tag; its pointer; the last flush.
    const struct {
        int batch;
        std::vector<int> statuses;
        const char* text;
    } table[] = {{2, {-60, -1, -1, -1, -1, -1, -1, -60, -60, -53, 0}, "tail batch flush failed"},
                 {5, {-60, -1, -1, -1, -60, -60, -53, 0}, "final batch flush failed"}};
    for (const auto& row : table) {
        std::string texts;
        const auto writer = [&](ByteSink& sink, Reporter& report, int) { return dsfWriter(sink, report, row.batch); };
        EXPECT_EQ(fullDisk(writer, allTags(), &texts), row.statuses);
        EXPECT_NE(texts.find("batch write failed"), std::string::npos) << texts;
        EXPECT_NE(texts.find(row.text), std::string::npos) << texts;
    }
}

} // namespace
} // namespace tesk
