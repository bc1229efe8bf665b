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
            "--channels=" + std::to_string(noise.channels) + " --bps=" + std::to_string(noise.bits()) +
            " --sample-rate=88200 -o x.flac raw");
        return contents(at("x.flac"));
    }
    static void setTotal(Bytes& file, std::uint64_t total)
    {
        file[kTotalAt] = static_cast<std::uint8_t>((file[kTotalAt] & 0xF0) | (total >> 32 & 0x0F));
        for (std::size_t i = 0; i < 4; ++i) file[kTotalAt + 1 + i] = static_cast<std::uint8_t>(total >> (24 - 8 * i));
    }
    void expectLoss(const Bytes& file, const std::string& where)
    {
        expectRefused(load<FlacReader>(file), "FLAC decoding failed at frame " + where);
    }
};

TEST_F(Flac, EveryWidthAndChannelCountIsSampleExact)
{
    for (const char* name : {"s8", "s16le", "s24le", "s32le"})
        for (const std::uint32_t channels : {1u, 2u, 6u, 8u}) {
            const Noise noise = makeNoise(name, channels, 9001);
            encode(noise);
            ASSERT_EQ(open("x.flac"), DSD_SUCCESS) << error;
            expectSound(noise, "FLAC", 88200);
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

    {
        const Variable limit("TESK_STREAM_MAX_MB", "20"); // 20.3 MiB are needed
        expectRefused(load<FlacReader>(file), "over the 20 MB limit");
    }
    memory = [] { return std::uint64_t{8} << 20; }; // enough for 943718 frames
    expectRefused(load<FlacReader>(file), "");
    EXPECT_TRUE(reported("signal buffer is needed"));
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
    const auto blockAt = [&](std::initializer_list<std::uint8_t> header) { // sync, size and rate, format, number
        return std::search(whole.begin(), whole.end(), header.begin(), header.end()) - whole.begin();
    };
    const auto second = blockAt({0xFF, 0xF8, 0xC1, 0x18, 0x01}), last = blockAt({0xFF, 0xF8, 0x71, 0x18, 0x02});
    const auto size = static_cast<std::ptrdiff_t>(whole.size());
    ASSERT_LT(std::max(second, last), size);
    for (const bool totalKnown : {true, false}) {
        Bytes file = whole;
        if (!totalKnown) setTotal(file, 0);
        file.at(static_cast<std::size_t>(second) + 5000) ^= 0x10;
        expectLoss(file, totalKnown ? "4096 of 9001: checksum mismatch" : "4096: checksum mismatch");
        file.erase(file.begin() + second + 3000, file.begin() + second + 9000);
        expectLoss(file, "4096");
    }
    Bytes gap = whole; // the second block cut out cleanly
    gap.erase(gap.begin() + second, gap.begin() + last);
    expectLoss(gap, "4096 of 9001");
    setTotal(gap, 0);
    expectLoss(gap, "4096: frames are missing");
    for (const auto& [length, frames] : {std::pair(second + 100, "4096"), {size - 1, "8192"}}) {
        Bytes cut(whole.begin(), whole.begin() + length);
        expectLoss(cut, std::string(frames) + " of 9001");
        setTotal(cut, 0);
        expectLoss(cut, frames);
    }
    Bytes junk = whole, wrongSum = whole;
    junk.insert(junk.begin() + second, 100, 0x55);
    wrongSum[26] ^= 1; // the MD5 sum's first byte
    for (const auto& [file, warning] : {std::pair(&junk, "no frame is lost"), {&wrongSum, "MD5"}}) {
        ASSERT_EQ(load<FlacReader>(*file), DSD_SUCCESS) << error;
        EXPECT_TRUE(reported(warning)) << report.text;
        expectTruth(noise);
    }
}

TEST_F(Flac, EveryPrefixFails)
{
    const Bytes whole = encode(makeNoise("s8", 2, 300));
    expectNoPrefixPasses<FlacReader>(whole, whole.size());
}

} // namespace
} // namespace tesk
