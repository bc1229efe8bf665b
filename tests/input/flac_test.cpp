// FLAC files from the reference encoder: whole, damaged, cut, and without a length.
#include "tests/input/load_fixture.h"

namespace tesk {
namespace {

class Flac : public LoadTest {
protected:
    static constexpr std::size_t kTotalAt = 21; // of the 36-bit total: its upper four bits are the byte's lower

    /// Encodes to `x.flac` and returns the bytes.
    Bytes encode(const Noise& noise, const std::string& options = "")
    {
        save(at("raw"), noise.raw);
        run("flac -s -f --no-padding --no-seektable " + options + " --force-raw-format --endian=little --sign=signed " +
            "--channels=" + std::to_string(noise.channels) +
            " --bps=" + std::to_string(std::atoi(noise.format.c_str() + 1)) + " --sample-rate=88200 -o x.flac raw");
        return contents(at("x.flac"));
    }
    static void setTotal(Bytes& file, std::uint64_t total)
    {
        file[kTotalAt] = static_cast<std::uint8_t>((file[kTotalAt] & 0xF0) | (total >> 32 & 0x0F));
        for (std::size_t i = 0; i < 4; ++i) file[kTotalAt + 1 + i] = static_cast<std::uint8_t>(total >> (24 - 8 * i));
    }
    void expectLoss(const Bytes& file, const std::string& where)
    {
        EXPECT_EQ(load<FlacReader>(file), DSD_ERROR_INPUT);
        EXPECT_NE(error.find("FLAC decoding failed at frame " + where), std::string::npos) << error;
        expectEmpty();
    }
};

TEST_F(Flac, EveryWidthAndChannelCountIsSampleExact)
{
    for (const char* name : {"s8", "s16le", "s24le", "s32le"})
        for (const std::uint32_t channels : {1u, 2u, 6u, 8u}) {
            SCOPED_TRACE(std::string(name) + " " + std::to_string(channels));
            const Noise noise = makeNoise(name, channels, 9001);
            const Bytes file = encode(noise);
            ASSERT_EQ(open("x.flac"), DSD_SUCCESS) << error;
            EXPECT_EQ(recording.info.format, "FLAC");
            EXPECT_EQ(recording.info.sampleRate, 88200u);
            EXPECT_EQ(recording.info.bitsPerSample, std::atoi(name + 1));
            EXPECT_EQ(report.text, "");
            expectTruth(noise);
        }
}

TEST_F(Flac, TagsAroundTheStreamAreSkipped)
{
    const Noise noise = makeNoise("s16le", 2, 9001);
    Bytes file = encode(noise);
    setTotal(file, 0); // the end is then found by looking
    ByteWriter out(ByteOrder::big);
    out.tag("ID3").u8(4).u16(0).u8(0).u8(0).u8(1).u8(5).raw(Bytes(133, 'x')).raw(file); // 133 = 1 · 128 + 5
    out.tag("TAG").raw(Bytes(125, ' '));
    ASSERT_EQ(load<FlacReader>(out.take()), DSD_SUCCESS) << error;
    expectTruth(noise);
}

/// Longer than the first guess, so that the signal grows while it is read.
TEST_F(Flac, UnknownTotalGrowsToTheRealLength)
{
    const Noise noise = makeNoise("s8", 1, (std::size_t{5} << 20) + 70001);
    Bytes file = encode(noise, "-0");
    setTotal(file, 0);
    ASSERT_EQ(load<FlacReader>(file), DSD_SUCCESS) << error;
    EXPECT_FALSE(recording.info.declaredFrames);
    expectTruth(noise);

    setenv("TESK_STREAM_MAX_MB", "20", 1); // 20.3 MiB are needed
    EXPECT_EQ(load<FlacReader>(file), DSD_ERROR_INPUT);
    EXPECT_NE(error.find("over the 20 MB limit"), std::string::npos) << error;
    unsetenv("TESK_STREAM_MAX_MB");

    memory = [] { return std::uint64_t{8} << 20; }; // enough for 943718 frames
    EXPECT_EQ(load<FlacReader>(file), DSD_ERROR_INPUT);
    EXPECT_TRUE(reported("signal buffer is needed"));
    expectEmpty();
}

TEST_F(Flac, ADeclaredTotalMeetsTheGate)
{
    Bytes file = encode(makeNoise("s16le", 2, 9001));
    setTotal(file, (std::uint64_t{1} << 36) - 1);
    EXPECT_EQ(load<FlacReader>(file), DSD_ERROR_INPUT);
    EXPECT_TRUE(reported("(2ch x 68719476735 samples)"));
    memory = [] { return std::uint64_t{1} << 50; };
    setTotal(file, 20000);
    expectLoss(file, "9001 of 20000: the file is cut short");
}

TEST_F(Flac, DamageNeverPassesForAWholeFile)
{
    const Noise noise = makeNoise("s16le", 2, 9001); // blocks of 4096, 4096 and 809 frames
    const Bytes whole = encode(noise, "--blocksize=4096");
    const std::uint8_t header[] = {0xFF, 0xF8, 0xC1, 0x18, 0x01}; // 4096 frames, 16-bit stereo, block 1
    const auto found = std::search(whole.begin(), whole.end(), std::begin(header), std::end(header));
    ASSERT_NE(found, whole.end());
    const auto second = static_cast<std::size_t>(found - whole.begin());
    for (const bool totalKnown : {true, false}) {
        Bytes file = whole;
        if (!totalKnown) setTotal(file, 0);
        file[second + 5000] ^= 0x10;
        expectLoss(file, totalKnown ? "4096 of 9001: checksum mismatch" : "4096: checksum mismatch");
        file.erase(file.begin() + static_cast<std::ptrdiff_t>(second) + 3000,
                   file.begin() + static_cast<std::ptrdiff_t>(second) + 9000);
        expectLoss(file, "4096");
    }
    const std::uint8_t lastHeader[] = {0xFF, 0xF8, 0x71, 0x18, 0x02}; // block 2
    const auto last = std::search(whole.begin(), whole.end(), std::begin(lastHeader), std::end(lastHeader));
    ASSERT_NE(last, whole.end());
    Bytes gap(whole.begin(), found); // the second block cut out cleanly
    gap.insert(gap.end(), last, whole.end());
    expectLoss(gap, "4096 of 9001");
    setTotal(gap, 0);
    expectLoss(gap, "4096: frames are missing");
    for (const std::size_t length : {second + 100, whole.size() - 1}) {
        Bytes cut(whole.data(), whole.data() + length);
        expectLoss(cut, length < whole.size() - 1 ? "4096 of 9001" : "8192 of 9001");
        setTotal(cut, 0);
        expectLoss(cut, length < whole.size() - 1 ? "4096" : "8192");
    }
    Bytes junk = whole;
    junk.insert(junk.begin() + static_cast<std::ptrdiff_t>(second), 100, 0x55);
    ASSERT_EQ(load<FlacReader>(junk), DSD_SUCCESS) << error;
    EXPECT_TRUE(reported("no frame is lost")) << report.text;
    expectTruth(noise);

    Bytes wrongSum = whole;
    wrongSum[26] ^= 1; // the MD5 sum's first byte
    ASSERT_EQ(load<FlacReader>(wrongSum), DSD_SUCCESS) << error;
    EXPECT_TRUE(reported("MD5")) << report.text;
    expectTruth(noise);
}

TEST_F(Flac, EveryPrefixFails)
{
    const Bytes whole = encode(makeNoise("s8", 2, 300));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_EQ(load<FlacReader>(Bytes(whole.data(), whole.data() + length)), DSD_ERROR_INPUT) << length;
        EXPECT_NE(error, "");
        expectEmpty();
    }
}

} // namespace
} // namespace tesk
