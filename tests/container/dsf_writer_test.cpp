#include "container/dsf_layout.h"
#include "container/dsf_writer.h"
#include "container/pipe_writer.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace tesk {
namespace {

std::uint64_t number(const std::vector<std::uint8_t>& bytes, std::size_t at, int width)
{
    std::uint64_t value = 0;
    for (int i = width - 1; i >= 0; --i) value = value << 8 | bytes[at + static_cast<std::size_t>(i)];
    return value;
}

std::uint8_t sample(std::uint32_t channel, std::size_t i)
{
    return static_cast<std::uint8_t>(i * 7 + channel * 101 + i / 251);
}

/// Feeds `blocks` conversion blocks whose bytes tell channel and position.
void feed(DsdWriter& writer, const DsdStreamInfo& info, std::size_t blocks)
{
    for (std::size_t b = 0; b < blocks; ++b) {
        std::vector<std::vector<std::uint8_t>> data(info.channels, std::vector<std::uint8_t>(info.blockBytes));
        std::vector<const std::uint8_t*> pointers;
        for (std::uint32_t c = 0; c < info.channels; ++c) {
            for (std::size_t i = 0; i < info.blockBytes; ++i) data[c][i] = sample(c, b * info.blockBytes + i);
            pointers.push_back(data[c].data());
        }
        ASSERT_TRUE(writer.append(pointers.data(), info.blockBytes));
    }
}

// Every byte of every channel at its place, for block lengths below, at and above a DSF block and for tails of any
// length; batches of any size change nothing.
TEST(DsfWriter, LaysOutBlocksPerChannelAndFillsTheTailWithSilence)
{
    for (const std::uint32_t factor : {8, 64, 512})
        for (const std::uint32_t channels : {1, 2, 6})
            for (const int batch : {2, 8})
                for (const std::size_t blocks : {1, 3, 32}) {
                    const DsdStreamInfo info{channels, 2822400, 8 * factor * blocks, std::size_t{8} * factor};
                    MemorySink sink;
                    CollectingReporter report;
                    DsfWriter writer(sink, report, batch);
                    ASSERT_TRUE(writer.begin(info));
                    const auto expectedHeader = sink.bytes;
                    feed(writer, info, blocks);
                    ASSERT_TRUE(writer.finish({}, report));

                    const std::size_t real = blocks * info.blockBytes, whole = (real + 4095) / 4096 * 4096;
                    ASSERT_EQ(sink.bytes.size(), 92 + channels * whole);
                    EXPECT_TRUE(std::equal(expectedHeader.begin(), expectedHeader.end(), sink.bytes.begin()))
                        << "the sizes expected at the start were right";
                    for (std::uint32_t c = 0; c < channels; ++c)
                        for (std::size_t i = 0; i < whole; ++i) {
                            const std::size_t at = 92 + (i / 4096 * channels + c) * 4096 + i % 4096;
                            ASSERT_EQ(sink.bytes[at], i < real ? sample(c, i) : 0x69) << c << ' ' << i;
                        }
                    EXPECT_EQ(report.text.find("DSF tail flushed") != std::string::npos, real != whole);
                    EXPECT_EQ(number(sink.bytes, 12, 8), sink.bytes.size());
                    EXPECT_EQ(number(sink.bytes, 20, 8), 0U);
                    EXPECT_EQ(number(sink.bytes, 64, 8), whole * 8);
                    EXPECT_EQ(number(sink.bytes, 84, 8), channels * whole + 12);
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
    EXPECT_EQ(number(header, 12, 8), 6 * bytes + 92);
    EXPECT_EQ(number(header, 64, 8), bytes * 8);
    EXPECT_EQ(number(header, 84, 8), 6 * bytes + 12);
    EXPECT_GT(number(header, 84, 8), std::uint64_t{1} << 36);
}

TEST(DsfWriter, TagStandsBehindTheDataAndTheHeaderPointsToIt)
{
    const DsdStreamInfo info{2, 2822400, 4704, 4704};
    MemorySink sink;
    CollectingReporter report;
    DsfWriter writer(sink, report, 8);
    ASSERT_TRUE(writer.begin(info));
    feed(writer, info, 1);
    MetadataRecord metadata;
    metadata.title = "Überfahrt";
    ASSERT_TRUE(writer.finish(metadata, report));
    const auto pointer = static_cast<std::size_t>(number(sink.bytes, 20, 8));
    EXPECT_EQ(pointer, 92U + 2 * 8192);
    EXPECT_EQ(number(sink.bytes, 12, 8), pointer) << "the total size leaves the tag out";
    EXPECT_EQ(std::string(sink.bytes.begin() + static_cast<std::ptrdiff_t>(pointer),
                          sink.bytes.begin() + static_cast<std::ptrdiff_t>(pointer) + 3),
              "ID3");
}

TEST(DsfWriter, AStopHandsOnWholeBlocksOnly)
{
    const DsdStreamInfo info{2, 2822400, 4704 * 10, 4704};
    MemorySink sink;
    CollectingReporter report;
    DsfWriter writer(sink, report, 8);
    ASSERT_TRUE(writer.begin(info));
    feed(writer, info, 3);
    ASSERT_TRUE(writer.stop());
    EXPECT_EQ(sink.bytes.size(), 92U + 2 * 3 * 4096);
    EXPECT_GT(number(sink.bytes, 12, 8), sink.bytes.size()) << "the header keeps what it expected";
}

/// Fails from the n-th byte on.
class FullSink final : public ByteSink {
public:
    explicit FullSink(std::uint64_t room) : room_(room) {}
    Status write(Bytes data) override
    {
        position_ += data.size();
        return position_ > room_ ? Status(DSD_ERROR_ASSERT) : Status();
    }
    Status rewrite(std::uint64_t, Bytes) override { return {}; }
    Status flush() override { return {}; }
    std::uint64_t position() const override { return position_; }

private:
    std::uint64_t room_, position_ = 0;
};

TEST(DsfWriter, AFullDiskIsAStatusWhereverItFillsUp)
{
    const DsdStreamInfo info{2, 2822400, 4704 * 20, 4704};
    for (std::uint64_t room = 0; room < 188416; room += 4096) {
        FullSink sink(room);
        CollectingReporter report;
        DsfWriter writer(sink, report, 2);
        bool failed = !writer.begin(info);
        const std::vector<std::uint8_t> data(info.blockBytes);
        const std::uint8_t* channels[] = {data.data(), data.data()};
        for (int b = 0; b < 20 && !failed; ++b) failed = !writer.append(channels, info.blockBytes);
        if (!failed) failed = !writer.finish({}, report);
        EXPECT_TRUE(failed) << room;
        EXPECT_TRUE(room <= 92 || report.text.find("output") != std::string::npos) << report.text;
    }
}

TEST(PipeWriter, WritesBareBytesChannelAfterChannel)
{
    const DsdStreamInfo info{2, 2822400, 588, 8};
    MemorySink sink;
    CollectingReporter report;
    PipeWriter writer(sink);
    ASSERT_TRUE(writer.begin(info));
    const std::uint8_t left[8] = {1, 2, 3, 4, 5, 6, 7, 8}, right[8] = {11, 12, 13, 14, 15, 16, 17, 18};
    const std::uint8_t* channels[] = {left, right};
    ASSERT_TRUE(writer.append(channels, info.blockBytes));
    ASSERT_TRUE(writer.finish({}, report));
    std::vector<std::uint8_t> expected(left, left + 8);
    expected.insert(expected.end(), right, right + 8);
    EXPECT_EQ(sink.bytes, expected);
}

} // namespace
} // namespace tesk
