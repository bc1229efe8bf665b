#include "container/dff_writer.h"

#include "container/dff_dst_writer.h"
#include "container/dsdiff_layout.h"
#include "container/pipe_writer.h"
#include "tests/container/writer_fixture.h"

namespace tesk {
namespace {

platform::LocalTime someEvening() { return {2026, 7, 9, 21, 5}; }

struct Chunk {
    std::string id;
    std::size_t data, size;
};

/// Reads chunks by their own sizes: each must fit, pads must be 0, and the last must end where the range does.
std::vector<Chunk> chunks(const Buffer& file, std::size_t at, std::size_t end, const std::string& names)
{
    std::vector<Chunk> found;
    std::string ids;
    while (at < end) {
        const auto size = static_cast<std::size_t>(bigEndian(file, at + 4, 8));
        found.push_back({letters(file, at, 4), at + 12, size});
        ids += found.back().id + "|";
        at += 12 + size;
        if (size % 2 != 0 && file.at(at++) != 0) ADD_FAILURE() << "pad of " << ids;
    }
    EXPECT_EQ(at, end);
    EXPECT_EQ(ids, names);
    return found;
}

/// The chunks of the form, whose size must be the file's.
std::vector<Chunk> form(const Buffer& file, const std::string& names)
{
    EXPECT_EQ(letters(file, 0, 4) + letters(file, 12, 4), "FRM8DSD ");
    EXPECT_EQ(bigEndian(file, 4, 8), file.size() - 12);
    return chunks(file, 16, file.size(), names);
}

/// Stands in for the coder: the plain form, a zero byte and the frame, held back by one frame.
class PlainFormCoder final : public DstFrameCoder {
public:
    explicit PlainFormCoder(Receiver receiver, bool forgetful = false)
        : receiver_(std::move(receiver)), forgetful_(forgetful)
    {
    }
    Status push(Bytes frame) override
    {
        Status status = held_.empty() ? Status() : receiver_(held_);
        held_.assign(1, 0);
        held_.insert(held_.end(), frame.begin(), frame.end());
        return status;
    }
    Status finish() override { return forgetful_ || held_.empty() ? Status() : receiver_(held_); }
    unsigned threads() const override { return 1; }

private:
    Receiver receiver_;
    bool forgetful_;
    Buffer held_;
};

std::unique_ptr<DsdWriter> plainWriter(ByteSink& sink, Reporter& report, int batchBlocks)
{
    return std::make_unique<DffWriter>(sink, report, batchBlocks, someEvening);
}

std::unique_ptr<DsdWriter> dstWriter(ByteSink& sink, Reporter& report, int batchBlocks)
{
    const auto plainForm = [](const DsdStreamInfo&, DstFrameCoder::Receiver receiver) {
        return std::make_unique<PlainFormCoder>(std::move(receiver));
    };
    return std::make_unique<DffDstWriter>(sink, report, batchBlocks, plainForm, someEvening);
}

TEST(DffWriter, EveryChunkAtItsPlaceForEveryChannelCount)
{
    const struct {
        std::uint32_t channels;
        const char* ids;
        unsigned speakers;
    } table[] = {{1, "C000", 65535},
                 {2, "SLFTSRGT", 0},
                 {3, "MLFTMRGTC   ", 65535},
                 {4, "MLFTMRGTLS  RS  ", 65535},
                 {5, "MLFTMRGTC   LS  RS  ", 3},
                 {6, "MLFTMRGTC   LFE LS  RS  ", 4},
                 {7, "C000C001C002C003C004C005C006", 65535},
                 {8, "MLFTMRGTC   LFE LS  RS  LB  RB  ", 65535}};
    for (const auto& row : table)
        for (const std::size_t total : {20, 21}) { // an odd length needs a pad behind the sound
            const Buffer file = written(plainWriter, {row.channels, 5644800, total, 8}, total, 8, {});
            const auto outer = form(file, "FVER|PROP|DSD |COMT|");
            EXPECT_EQ(bigEndian(file, outer[0].data, 4), 0x01050000U);
            EXPECT_EQ(outer[1].size, 80U + 4 * row.channels) << "the pad of CMPR counts";
            EXPECT_EQ(letters(file, outer[1].data, 4), "SND ");
            EXPECT_EQ(outer[2].data, 136U + 4 * row.channels) << "144 for stereo";
            EXPECT_EQ(outer[2].size, row.channels * total);
            EXPECT_TRUE(row.channels == 8 || holdsStream(file, outer[2].data, row.channels, total));
            constexpr std::size_t wave[] = {0, 1, 2, 3, 6, 7, 4, 5}; // FL FR C LFE BL BR SL SR by those IDs
            for (std::size_t i = 0; row.channels == 8 && i < total; ++i)
                for (std::size_t c = 0; c < 8; ++c)
                    EXPECT_EQ(file[outer[2].data + 8 * i + c], streamByte(static_cast<std::uint32_t>(wave[c]), i));

            const auto inner = chunks(file, outer[1].data + 4, outer[1].data + outer[1].size, "FS  |CHNL|CMPR|LSCO|");
            EXPECT_EQ(bigEndian(file, inner[0].data, 4), 5644800U);
            EXPECT_EQ(bigEndian(file, inner[1].data, 2), row.channels);
            EXPECT_EQ(letters(file, inner[1].data + 2, inner[1].size - 2), row.ids);
            EXPECT_EQ(letters(file, inner[2].data, inner[2].size), "DSD \x0Enot compressed");
            EXPECT_EQ(bigEndian(file, inner[3].data, 2), row.speakers);
        }
}

TEST(DsdiffLayout, FlagsAndCodesThatNoChannelCountHas)
{
    const auto joined = [](std::uint32_t code, const DsdStreamInfo& info) {
        std::string text;
        for (const std::string& id : channelIds(code, info)) text += id;
        return text;
    };
    DsdStreamInfo info{6, 2822400, 0, 8};
    EXPECT_EQ(joined(5, info), "MLFTMRGTC   LFE ");
    EXPECT_EQ(loudspeakerConfiguration(5), 4);
    EXPECT_EQ(channelIds(0, {70, 2822400, 0, 8}).size(), 64U);
    info.surroundSides = false;
    EXPECT_EQ(joined(4, info) + joined(6, info) + joined(7, info),
              "MLFTMRGTLB  RB  MLFTMRGTC   LB  RB  MLFTMRGTC   LFE LB  RB  ");
    for (bool DsdStreamInfo::*flag : {&DsdStreamInfo::lfe, &DsdStreamInfo::centre}) {
        DsdStreamInfo without{6, 2822400, 0, 8};
        without.*flag = false;
        EXPECT_EQ(dsdiffHeader(without, 0).size(), 136U) << "a CHNL that says six and lists none";
    }
    const std::uint64_t bytes = std::uint64_t{6} * 3600 * 5644800; // six hours of DSD1024
    const auto header = dsdiffHeader(DsdStreamInfo{6, 45158400, bytes, 75264}, bytes);
    EXPECT_EQ(bigEndian(header, header.size() - 8, 8), 6 * bytes);
    EXPECT_EQ(bigEndian(header, 4, 8), header.size() - 12 + 6 * bytes);
}

TEST(DffWriter, CommentsInOrderAndNamesForPlayers)
{
    const Buffer file = written(plainWriter, {2, 2822400, 8, 8}, 8, 8, allTags());
    const auto outer = form(file, "FVER|PROP|DSD |COMT|DIIN|");
    const std::string date = "\x07\xEA\x07\x09\x15\x05"; // 9 July 2026, 21:05
    std::string found;
    std::size_t at = outer[3].data + 2;
    for (std::uint64_t count = bigEndian(file, outer[3].data, 2); count > 0; --count) {
        EXPECT_EQ(letters(file, at, 6), date);
        const auto size = static_cast<std::size_t>(bigEndian(file, at + 10, 4));
        found += format("%d %d ", file[at + 7], file[at + 9]) + letters(file, at + 14, size) + "\n";
        EXPECT_TRUE(file[at + 6] == 0 && file[at + 8] == 0 && (size % 2 == 0 || file[at + 14 + size] == 0));
        at += 14 + size + size % 2;
    }
    EXPECT_EQ(found, "0 0 Title: Überfahrt\n0 0 Artist: Trio\n0 0 Album: Hafen\n0 0 Year: 1999\n0 0 Comment: odd\n"
                     "0 0 Track: 7\n3 2 teskengine\n3 4 Corvanta & Tesk Engine Audio Tools\n")
        << "an empty genre is no comment";
    EXPECT_EQ(at, outer[3].data + outer[3].size) << "pads behind comments count";
    const auto inner = chunks(file, outer[4].data, outer[4].data + outer[4].size, "DIAR|DITI|");
    EXPECT_EQ(letters(file, inner[0].data, inner[0].size), std::string("\0\0\0\x04Trio", 8));
    EXPECT_EQ(letters(file, inner[1].data, inner[1].size), std::string("\0\0\0\x0AÜberfahrt", 14));
}

class DffJudged : public JudgedTest {};

TEST_F(DffJudged, FfmpegHearsWhatItHearsFromADsfFile)
{
    for (const std::uint32_t channels : {1, 2, 5, 6}) {
        const DsdStreamInfo info{channels, 2822400, 4096 * 5, 4704};
        expectSoundOfDsf("x.dff", written(plainWriter, info, info.bytes, 4704, allTags()), info);
        expectFacts("x.dff", {format("channels=%u\n", channels), "sample_rate=352800\n", "codec_name=dsd_msbf\n",
                              "TAG:title=Überfahrt\n", "TAG:artist=Trio\n", "TAG:comment=Track: 7\n",
                              "TAG:creating_machine=teskengine\n"});
    }
}

TEST_F(DffJudged, DstFramesStandInChunksOfTheirOwn)
{
    for (const std::uint32_t channels : {2, 3}) { // the plain form is a byte longer: odd, then even
        const std::size_t block = channels == 2 ? 4704 : 4705, frame = channels * block;
        const std::size_t total = block * 3 + 100; // the fourth frame is filled with silence
        const Buffer file = written(dstWriter, {channels, static_cast<std::uint32_t>(600 * block), total, block}, total,
                                    block, allTags());
        const auto outer = form(file, "FVER|PROP|DST |COMT|DIIN|");
        EXPECT_EQ(outer[1].size, 76U + 4 * channels);
        const auto frames = chunks(file, outer[2].data, outer[2].data + outer[2].size, "FRTE|DSTF|DSTF|DSTF|DSTF|");
        EXPECT_EQ(bigEndian(file, frames[0].data, 6), (4U << 16) | 75);
        EXPECT_EQ(frames[1].data - 12, 150U + 4 * channels) << "158 for stereo";
        Buffer sound;
        for (std::size_t f = 1; f < frames.size(); ++f) {
            ASSERT_EQ(frames[f].size, 1 + frame);
            const std::string text = letters(file, frames[f].data + 1, frame);
            sound.insert(sound.end(), text.begin(), text.end());
        }
        EXPECT_TRUE(holdsStream(sound, 0, channels, total));
        EXPECT_EQ(static_cast<std::size_t>(
                      std::count(sound.begin() + static_cast<std::ptrdiff_t>(channels * total), sound.end(), 0x69)),
                  4 * frame - channels * total);

        save("x.dff", file);
        const std::string size = std::to_string(1 + frame) + "\n";
        EXPECT_EQ(output("ffprobe -v error -show_entries stream=codec_name,channels:packet=size -of csv=p=0 x.dff"),
                  size + size + size + size + format("dst,%u\n", channels));
    }
}

TEST(DffDstWriter, AMissingCoderAndMissingFramesFail)
{
    const DsdStreamInfo info{2, 2822400, 160, 16};
    MemorySink sink;
    CollectingReporter report;
    DffDstWriter none(sink, report, 2, [](auto&&...) { return nullptr; });
    EXPECT_EQ(none.begin(info).status(), DSD_ERROR_INIT_ENCODED_DST);
    DffDstWriter forgetful(sink, report, 2, [](const DsdStreamInfo&, DstFrameCoder::Receiver receiver) {
        return std::make_unique<PlainFormCoder>(std::move(receiver), true);
    });
    EXPECT_EQ(run(forgetful, info, 160, 16, {}, report).status(), DST_ERROR);
    EXPECT_TRUE(report.text.ends_with("Error : DST batch encoding failed — aborting\n")) << report.text;
}

TEST(DffWriter, OneFileForOneStreamAndAFullDiskIsAStatus)
{
    expectOneFile(plainWriter, allTags());
    expectOneFile(dstWriter, allTags());
    // Header; five batches; COMT and DIIN; the form's size; the last flush.
    EXPECT_EQ(fullDisk(plainWriter, allTags()), (std::vector<int>{-60, -1, -1, -1, -1, -1, -60, -60, -60, -53, 0}));
    // The chunks' heads make a sixth batch, and the header is written again.
    EXPECT_EQ(fullDisk(dstWriter, allTags()),
              (std::vector<int>{-60, -1, -1, -1, -1, -1, -1, -60, -60, -60, -60, -53, 0}));
}

TEST(DffWriter, WithoutSeekingTheExpectedSizesStayAndWarningsSaySo)
{
    const std::string ends = "Warning: TESK_FSEEK64(end) failed in writeDffComtTag\n"
                             "Error: ftello failed in writeDffComtTag\n"
                             "       (the output cannot seek, so its comments are left out)\n";
    const DsdStreamInfo info{2, 2822400, 160, 16};
    for (const MakeWriter make : {plainWriter, dstWriter}) {
        FaultySink sink(1000, false);
        CollectingReporter report;
        ASSERT_TRUE(run(*make(sink, report, 2), info, 160, 16, allTags(), report));
        const Buffer seekable = written(make, info, 160, 16, allTags());
        const Buffer& plain = sink.memory.bytes;
        ASSERT_LT(plain.size(), seekable.size());
        EXPECT_TRUE(std::equal(plain.begin() + 12, plain.end(), seekable.begin() + 12))
            << "all but the form's size was known beforehand";
        EXPECT_EQ(letters(seekable, plain.size(), 4), "COMT");
        EXPECT_TRUE(report.text.ends_with(ends)) << report.text;
    }
}

TEST(DffWriter, ASizeOutOfReachCostsAWarningAndNoMusic)
{
    const DsdStreamInfo info{2, 2822400, 160, 16};
    FaultySink sink(1000);
    sink.patchEnds = Patched::outOfReach;
    CollectingReporter report;
    ASSERT_TRUE(run(*plainWriter(sink, report, 2), info, 160, 16, allTags(), report));
    EXPECT_TRUE(report.text.ends_with("Warning: TESK_FSEEK64(4) failed in writeDffComtTag\n")) << report.text;
}

TEST(DffWriter, AStopHandsOnWholeFramesAndNothingElse)
{
    MemorySink sink;
    CollectingReporter report;
    DffWriter writer(sink, report, 8);
    EXPECT_TRUE(writer.stop()) << "before the loop";
    EXPECT_TRUE(writer.finish({}, report));
    EXPECT_EQ(report.text, "Report              \treWriteDFFHeader: wf is NULL, cannot rewrite header\n");
    const DsdStreamInfo info{2, 2822400, 160, 16};
    ASSERT_TRUE(feed(writer, info, 16, 16));
    ASSERT_TRUE(writer.stop());
    Buffer expected = dsdiffHeader(info, 160);
    for (std::size_t i = 0; i < 32; ++i) expected.push_back(streamByte(i % 2, i / 2));
    EXPECT_EQ(sink.bytes, expected);
}

TEST(PipeWriter, WritesBareBytesAndOrdersThemLikeItsContainer)
{
    for (const PipeForm form : {PipeForm::dsf, PipeForm::dff, PipeForm::wsd}) {
        MemorySink sink;
        CollectingReporter report;
        PipeWriter writer(sink, form, report);
        ASSERT_TRUE(run(writer, {3, 2822400, 100, 16}, 100, 16, allTags(), report));
        Buffer planar;
        for (std::size_t at = 0; at < 100; at += 16)
            for (std::uint32_t c = 0; c < 3; ++c)
                for (std::size_t i = at; i < std::min<std::size_t>(at + 16, 100); ++i)
                    planar.push_back(streamByte(c, i));
        EXPECT_EQ(sink.bytes.size(), 300U);
        EXPECT_TRUE(form == PipeForm::dsf ? sink.bytes == planar : holdsStream(sink.bytes, 0, 3, 100));
        EXPECT_EQ(report.text, form == PipeForm::dff ? "Report              \tSkipping DFF header (pipe mode)\n" : "");
    }
}

} // namespace
} // namespace tesk
