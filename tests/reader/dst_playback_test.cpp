#include "container/dsdiff_layout.h"
#include "container/dst/dst_encoder.h"
#include "container/reader/dff_reader.h"
#include "tests/reader/read_back.h"

namespace tesk {
namespace {

constexpr std::size_t kFrames = 20;

std::uint32_t slowCrc(const Buffer& bytes)
{
    std::uint32_t rest = 0;
    for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
        const bool out = (rest >> 31 ^ (bytes[bit / 8] >> (7 - bit % 8) & 1U)) != 0;
        rest = rest << 1 ^ (out ? 1U << 31 | 1U << 4 | 1U : 0);
    }
    return rest;
}

/// DSDIFF with DST whose frames can be tampered with before it is put together.
struct DstFile {
    std::uint32_t channels = 2, bytes = 300; // of a frame per channel
    std::vector<Buffer> sound;               // planar
    std::vector<Buffer> dstf, dstc;          // chunks
    std::uint32_t announced = 0;

    DstFile(std::uint32_t channelCount, std::uint32_t frameBytes, std::size_t frames = kFrames,
            std::size_t plainFrame = 1)
        : channels(channelCount), bytes(frameBytes), sound(channelCount), announced(static_cast<std::uint32_t>(frames))
    {
        for (std::size_t i = 0; i < frames * bytes; ++i) // near-periodic, so that there is something to predict
            for (std::uint32_t c = 0; c < channels; ++c)
                sound[c].push_back(i % 5 == 4 ? streamByte(c, i) : i % 2 == 0 ? 0x69 : 0x5A);
        DstEncoder encoder;
        EXPECT_TRUE(encoder.init({channels, 600 * bytes, bytes, 16}));
        for (std::size_t f = 0; f < frames; ++f) {
            const Buffer plain = frame(f);
            dstf.push_back(dstFrameChunk(f == plainFrame ? plainDstFrame(plain) : *encoder.encode(plain)));
            EXPECT_EQ(dstf.back()[12] >> 7, f != plainFrame) << "all but one are coded";
            dstc.push_back(crcChunk(slowCrc(plain)));
        }
    }
    static Buffer crcChunk(std::uint32_t crc)
    {
        Buffer data(4);
        put(data, 0, crc, 4, ByteOrder::big);
        return chunk("DSTC", data);
    }
    Buffer frame(std::size_t f) const
    {
        std::vector<Buffer> part;
        for (const Buffer& channel : sound)
            part.emplace_back(channel.begin() + static_cast<std::ptrdiff_t>(f * bytes),
                              channel.begin() + static_cast<std::ptrdiff_t>((f + 1) * bytes));
        return interleaved(part);
    }
    void silence(std::size_t f)
    {
        for (Buffer& channel : sound)
            std::fill_n(channel.begin() + static_cast<std::ptrdiff_t>(f * bytes), bytes, std::uint8_t{0x69});
    }
    /// The sound's chunk begins where a plain one would: at 128 + 4 · channels.
    Buffer file() const
    {
        Buffer frames;
        for (std::size_t f = 0; f < dstf.size(); ++f) frames = joined({frames, dstf[f], dstc[f]});
        return joined({dsdiffDstHeader({channels, 600 * bytes, 0, bytes}, announced, frames.size()), frames,
                       chunk("COMT", {0, 0})});
    }
};

std::unique_ptr<DsdReader> open(std::unique_ptr<ByteSource> file, Reporter& report)
{
    return DFFReader::open(std::move(file), kDstScalar, report);
}

/// Planar; with what was reported up to the end of a job.
std::vector<Buffer> played(const Buffer& file, std::string& report, std::size_t piece = 1000)
{
    CollectingReporter collected;
    const auto reader = open(std::make_unique<MemorySource>(file), collected);
    EXPECT_TRUE(reader) << collected.text;
    if (!reader) return {};
    const auto sound = readAll(*reader, piece);
    reader->reportProblems("x.dff");
    report = collected.text;
    return sound;
}

TEST(DstPlayback, ChecksumsAreThoseOfTheShiftRegister)
{
    for (std::size_t size = 0; size < 40; ++size) {
        const Buffer bytes = streamBytes(1, size)[0];
        EXPECT_EQ(dstFrameCrc(bytes), slowCrc(bytes)) << size;
    }
    EXPECT_EQ(dstFrameCrc(Buffer{0, 1}), 0x80000011U) << "the polynomial itself";
}

TEST(DstPlayback, CodedSoundComesBackInAnyPieces)
{
    for (const std::uint32_t channels : {1, 2, 5, 6}) {
        const DstFile dst(channels, 201); // an odd length now and then
        for (const std::size_t piece : {1, 7, 201, 4096}) {
            std::string report;
            EXPECT_EQ(played(dst.file(), report, piece), dst.sound) << channels << " by " << piece;
            EXPECT_EQ(report, "");
        }
    }
}

TEST(DstPlayback, DamagedFramesAreSilentAndCountedAndTheRestPlays)
{
    DstFile dst(2, 300);
    const std::uint32_t right = slowCrc(dst.frame(3));
    dst.dstc[3] = DstFile::crcChunk(right ^ 1);
    dst.dstc[5] = DstFile::crcChunk(0);
    dst.dstc[6].clear();
    dst.dstf[7] = dstFrameChunk(Buffer(301, 0x3F)); // its checksum does not count twice
    dst.dstf[9] = dstFrameChunk(Buffer(2 * 600 + 65, 0x80));
    dst.dstf[11] = dstFrameChunk({});
    dst.dstf[12] = joined({chunk("what", {1}), dst.dstf[12]});
    for (const std::size_t silent : {7, 9, 11}) dst.silence(silent);
    std::string report;
    EXPECT_EQ(played(dst.file(), report), dst.sound);
    EXPECT_EQ(report,
              format("DST: frame #3 CRC mismatch (expected 0x%08X, got 0x%08X) -- frame is still emitted, it may "
                     "click; from now on these are only counted\n",
                     right ^ 1, right) +
                  "ERROR: Illegal table type\n\nERROR: a negative number of bits allocated\n"
                  "\nERROR: a negative number of bits allocated\n"
                  "⚠ x.dff: DST frame problem summary -- decode failures 3, CRC mismatches 2, frames processed "
                  "20 (25.000%). Those passages may be incomplete or click; please check the source disc.\n");
}

// A head that is damaged costs its own frame and no other, and no time.
TEST(DstPlayback, GoesOnBehindDamagedHeads)
{
    for (const bool checksums : {true, false})
        for (const std::size_t at : {0, 5, 9, 11}) { // letters, high and low bytes of the size
            DstFile dst(2, 300);
            if (!checksums)
                for (Buffer& chunk : dst.dstc) chunk.clear();
            dst.dstf[4][at] ^= 0x41;
            dst.dstf[8][at] ^= 0x82;
            for (const std::size_t silent : {4, 8}) dst.silence(silent);
            std::string report;
            const auto sound = played(dst.file(), report);
            ASSERT_EQ(sound.size(), 2U) << report;
            ASSERT_EQ(sound[0].size(), dst.sound[0].size()) << checksums << " " << at << report;
            std::size_t wrong = 0;
            for (std::size_t f = 0; f < kFrames; ++f)
                if (f != 4 && f != 8)
                    for (std::size_t i = f * 300; i < (f + 1) * 300; ++i) wrong += sound[0][i] != dst.sound[0][i];
            EXPECT_EQ(wrong, 0U) << checksums << " " << at << report;
        }
}

TEST(DstPlayback, OnADiscDamagedFramesAreDropped)
{
    parallel::WorkerPool pool(2);
    CollectingReporter report;
    std::uint64_t sector = 1000;
    DstPlayback playback(
        [&](CodedFrame& frame) {
            frame.bytes = sector % 2 == 0 ? plainDstFrame(Buffer(8, static_cast<std::uint8_t>(sector))) : Buffer{0x3F};
            frame.place = sector++;
            return sector <= 1100;
        },
        DstPlayback::Damaged::dropped, report, kDstScalar, pool);
    EXPECT_TRUE(playback.nextFrame().empty()) << "before init";
    ASSERT_TRUE(playback.init(2, 2400));
    for (std::uint64_t s = 1000; s < 1100; s += 2) {
        const auto frame = playback.nextFrame();
        ASSERT_EQ(Buffer(frame.begin(), frame.end()), Buffer(8, static_cast<std::uint8_t>(s)));
    }
    EXPECT_TRUE(playback.nextFrame().empty());
    EXPECT_EQ(playback.problems().decodeFailures, 50U);
    EXPECT_EQ(report.text,
              "ERROR: Illegal table type\nDST: frame decode failed (first @LSN 1001) -- frame dropped, total "
              "reported at the end\nERROR: Illegal table type\nERROR: Illegal table type\n");
}

TEST(DstPlayback, CountsAndSizesThatLie)
{
    const DstFile dst(2, 300);
    const Buffer whole = dst.file();
    constexpr std::size_t kSoundSize = 132, kFrte = 140, kCount = 152; // offsets in a stereo file
    const std::size_t size = whole.size();
    std::size_t half = kFrte + 18 + 100; // frame 10 breaks off
    for (std::size_t f = 0; f < 10; ++f) half += dst.dstf[f].size() + dst.dstc[f].size();
    expectOutcomes(
        open, whole, ByteOrder::big, dst.sound,
        {{kCount, 0, 4, size, 48000, "DFFReader: 0 DST frames are announced, 20 are there\n"},
         {kCount, ~0U, 4, size, 48000, "DFFReader: 4294967295 DST frames are announced, 20 are there\n"},
         {kCount, 19, 4, size, 45600, "DFFReader: there is sound behind the announced frames; it is left out\n"},
         {kSoundSize, 0, 8, size, 48000, ""},
         {kSoundSize, ~0ULL, 8, size, 48000, ""},
         {4, 1000, 8, half, 24000, "DFFReader: the file ends early; 0.133 seconds of sound are missing\n"},
         {4, 1000, 8, kFrte + 18, 0, "DFFReader: the file ends early; 0.267 seconds of sound are missing\n"},
         {4, 1000, 8, kFrte + 17, kRefused, "DFFReader: DST chunk missing FRTE\n"},
         {kFrte, 'X', 1, size, kRefused, "DFFReader: DST chunk missing FRTE\n"},
         {60, 12288600, 4, size, kRefused,
          "DSTDecoder: frame 20481 bytes/ch exceeds MAX_DSDBYTES_INFRAME=20480 (dsd_rate=12288600) -- see "
          "decodec/dst/src/conststr\n"},
         {76, 7, 2, size, kRefused, "DSTDecoder: DST_InitDecoder failed (ret=-11)\n"}});
    const DstFile one(2, 300, 1);
    expectOutcomes(open, one.file(), ByteOrder::big, one.sound,
                   {{kCount, 0, 4, one.file().size(), 2400, "1 are there"}});

    // A count that could be is believed; the sound then ends early, and says so.
    Buffer file = whole;
    put(file, kCount, 22, 4, ByteOrder::big);
    std::string report;
    EXPECT_EQ(played(file, report), dst.sound);
    EXPECT_EQ(report, "Warning             \tDFFReader: frames are missing; 0.027 seconds of sound are missing\n");
}

TEST(DstPlayback, NoDamageGoesBeyondTheFile)
{
    expectCalmInDamage(open, DstFile(1, 130, 3).file(), 132 + 12 + 18 + 12);
}

class DstJudged : public JudgedTest {};

TEST_F(DstJudged, FfmpegHearsInTheCodedFileWhatWasRead)
{
    for (const std::uint32_t channels : {1, 2, 6}) {
        const DstFile dst(channels, 4704, 5, 5); // ffmpeg 5.1 reads plain frames with a wrong stride
        std::string report;
        const Buffer sound = interleaved(played(dst.file(), report));
        save("dst.dff", dst.file());
        save("plain.dff", joined({dsdiffHeader({channels, 2822400, 0, 4704}, sound.size() / channels), sound}));
        const std::string pcm = output("ffmpeg -v error -i dst.dff -f f32le -");
        EXPECT_EQ(pcm.size(), std::size_t{4704} * 5 * channels * 4);
        EXPECT_TRUE(pcm == output("ffmpeg -v error -i plain.dff -f f32le -")) << channels;
    }
}

} // namespace
} // namespace tesk
