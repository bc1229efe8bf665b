// Headers that lie, files that end early, and formats that no program here writes.
#include "tests/input/load_fixture.h"

#include <limits>

namespace tesk {
namespace {

constexpr std::uint8_t kGuidTail[] = {0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
constexpr std::uint8_t kRiffGuidTail[] = {0x2E, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};

/// A header with any figures in it.
struct Figures {
    std::uint32_t tag = 1, channels = 2, rate = 44100, bits = 16;
    std::uint32_t sampleBytes = 0;               // where the block alignment says another width than the bits
    std::optional<std::uint64_t> dataBytes = {}; // declared, where it is not the truth
};

Bytes formatChunk(const Figures& f, ByteOrder order = ByteOrder::little)
{
    const std::uint32_t align = f.channels * (f.sampleBytes > 0 ? f.sampleBytes : (f.bits + 7) / 8);
    ByteWriter out(order);
    out.u16(static_cast<std::uint16_t>(f.tag)).u16(static_cast<std::uint16_t>(f.channels)).u32(f.rate);
    out.u32(f.rate * align).u16(static_cast<std::uint16_t>(align)).u16(static_cast<std::uint16_t>(f.bits));
    return out.take();
}

Bytes wav(const Figures& f, const Bytes& data, ByteOrder order = ByteOrder::little)
{
    ByteWriter out(order);
    out.tag(order == ByteOrder::big ? "RIFX" : "RIFF").u32(static_cast<std::uint32_t>(36 + data.size())).tag("WAVE");
    out.tag("fmt ").u32(16).raw(formatChunk(f, order));
    out.tag("data").u32(static_cast<std::uint32_t>(f.dataBytes.value_or(data.size()))).raw(data);
    return out.take();
}

Bytes wave64(const Figures& f, const Bytes& data)
{
    ByteWriter out(ByteOrder::little);
    out.tag("riff").raw(kRiffGuidTail).u64(104 + data.size()).tag("wave").raw(kGuidTail);
    out.tag("fmt ").raw(kGuidTail).u64(40).raw(formatChunk(f));
    out.tag("data").raw(kGuidTail).u64(24 + f.dataBytes.value_or(data.size())).raw(data);
    return out.take();
}

Bytes rf64(const Figures& f, const Bytes& data)
{
    ByteWriter out(ByteOrder::little);
    out.tag("RF64").u32(0xFFFFFFFF).tag("WAVE").tag("ds64").u32(28);
    out.u64(72 + data.size()).u64(f.dataBytes.value_or(data.size())).u64(0).u32(0);
    out.tag("fmt ").u32(16).raw(formatChunk(f)).tag("data").u32(0xFFFFFFFF).raw(data);
    return out.take();
}

/// AIFF at 44100 Hz; `frames` goes into COMM, `offset` bytes of filling stand before the sound.
Bytes aiff(const Figures& f, std::uint32_t frames, const Bytes& data, std::uint32_t offset = 0)
{
    ByteWriter out(ByteOrder::big);
    out.tag("FORM").u32(static_cast<std::uint32_t>(46 + data.size())).tag("AIFF").tag("COMM").u32(18);
    out.u16(static_cast<std::uint16_t>(f.channels)).u32(frames).u16(static_cast<std::uint16_t>(f.bits));
    out.u16(f.rate == 0 ? 0 : 0x400E).u64(f.rate == 0 ? 0 : 0xAC44000000000000);
    out.tag("SSND").u32(static_cast<std::uint32_t>(8 + offset + data.size()));
    out.u32(offset).u32(0).raw(Bytes(offset, 0x5A)).raw(data);
    return out.take();
}

Bytes bigEndian16(const Noise& noise)
{
    Bytes data = noise.raw;
    for (std::size_t i = 0; i + 1 < data.size(); i += 2) std::swap(data[i], data[i + 1]);
    return data;
}

using WaveDamage = LoadTest;

TEST_F(WaveDamage, AHugeDeclaredLengthStopsAtTheGate)
{
    const Noise noise = makeNoise("s16le", 2, 100);
    const std::uint64_t frames = std::uint64_t{1} << 40;
    Figures lie;
    lie.dataBytes = frames * 4;
    memory = [] { return std::uint64_t{64} << 30; };
    for (const Bytes& file : {wave64(lie, noise.raw), rf64(lie, noise.raw)}) {
        EXPECT_EQ(load<WaveReader>(file), DSD_ERROR_INPUT);
        EXPECT_EQ(report.text,
                  "Error: a 16384.0 GB signal buffer is needed (2ch x 1099511627776 samples), but only 64.0 GB of "
                  "physical memory is available -- refusing to allocate.\n"
                  "  This usually means the length declared in the input header cannot be trusted "
                  "(malformed/truncated), or the input is simply too long:\n"
                  "  Please check the file, or use a shorter input / a lower sample rate.\n");
        EXPECT_NE(error, "");
        expectEmpty();
    }
    memory = [] { return std::nullopt; }; // nobody to ask: what is there is read
    ASSERT_EQ(load<WaveReader>(wave64(lie, noise.raw)), DSD_SUCCESS);
    EXPECT_TRUE(reported("the header declares 1099511627776 frames, the file holds 100"));
    expectTruth(noise);
}

TEST_F(WaveDamage, TheGateIsNineTenthsAndNeverOverflows)
{
    const auto passes = [&](std::uint32_t channels, std::uint64_t frames, std::uint64_t available) {
        return check_signal_memory(channels, frames, {report, stop, [=] { return available; }});
    };
    EXPECT_TRUE(passes(2, 900, 16000)); // 14400 of 16000 − 1600
    EXPECT_FALSE(passes(2, 901, 16000));
    EXPECT_TRUE(passes(0, std::numeric_limits<std::uint64_t>::max(), 0));
    // 8 · 2^61 wraps to 0, and so does 64 · 2^58 · 8.
    EXPECT_FALSE(passes(1, std::uint64_t{1} << 61, std::uint64_t{1} << 40));
    EXPECT_FALSE(passes(64, std::uint64_t{1} << 58, std::uint64_t{1} << 40));
}

TEST_F(WaveDamage, LyingSizesGiveWhatIsThere)
{
    const Noise noise = makeNoise("s16le", 2, 100);
    Figures lie;
    lie.dataBytes = 404;
    const Bytes big = bigEndian16(noise);
    for (const Bytes& file : {wav(lie, noise.raw), wave64(lie, noise.raw), rf64(lie, noise.raw), aiff({}, 101, big)}) {
        ASSERT_EQ(load<WaveReader>(file), DSD_SUCCESS) << error;
        expectTruth(noise);
        EXPECT_EQ(report.text, "Warning             \tthe header declares 101 frames, the file holds 100; the latter "
                               "are used\n");
    }
    lie.dataBytes = 200; // the rest is another chunk, not sound
    ASSERT_EQ(load<WaveReader>(wav(lie, noise.raw)), DSD_SUCCESS);
    expectTruth(noise, 50);
    lie.dataBytes = 0;
    for (const Bytes& file : {wav(lie, noise.raw), wave64(lie, noise.raw), rf64(lie, noise.raw)}) {
        ASSERT_EQ(load<WaveReader>(file), DSD_SUCCESS);
        expectTruth(noise);
    }
}

TEST_F(WaveDamage, AnEmptyRecordingDoesNotPlayItsTags)
{
    ByteWriter list(ByteOrder::little);
    list.tag("LIST").u32(16).tag("INFOINAM").u32(4).tag("Tune");
    Figures empty;
    empty.dataBytes = 0;
    ASSERT_EQ(load<WaveReader>(wav(empty, list.take())), DSD_SUCCESS);
    EXPECT_EQ(recording.signal.frames(), 0u);
    // Digital silence looks like a row of empty chunks, but is sound all the same.
    ASSERT_EQ(load<WaveReader>(wav(empty, Bytes(80, 0))), DSD_SUCCESS);
    EXPECT_EQ(recording.signal.frames(), 20u);
}

TEST_F(WaveDamage, EveryPrefixEndsInAStatus)
{
    const Noise noise = makeNoise("s16le", 2, 20);
    const Bytes big = bigEndian16(noise);
    for (const Bytes& whole : {wav({}, noise.raw), wave64({}, noise.raw), rf64({}, noise.raw), aiff({}, 20, big)}) {
        const std::size_t header = whole.size() - noise.raw.size();
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            SCOPED_TRACE(length);
            const bool opened = load<WaveReader>(Bytes(whole.data(), whole.data() + length)) == DSD_SUCCESS;
            // AIFF is complete at the head of its sound chunk; offset and block size may already be missing.
            if (length >= header) {
                ASSERT_TRUE(opened) << error;
                expectTruth(noise, (length - header) / 4);
            } else if (opened) {
                EXPECT_EQ(recording.signal.frames(), 0u);
            } else {
                EXPECT_NE(error, "");
                expectEmpty();
            }
        }
    }
}

TEST_F(WaveDamage, ImplausibleHeadersAreRefused)
{
    const Bytes data(64, 0);
    const auto refused = [&](const Bytes& file, const std::string& why) {
        EXPECT_EQ(load<WaveReader>(file), DSD_ERROR_INPUT);
        EXPECT_NE(error.find(why), std::string::npos) << error;
        expectEmpty();
    };
    refused(wav({.channels = 0}, data), "declares 0 channels");
    refused(wav({.channels = 65}, data), "declares 65 channels");
    refused(wav({.channels = 65535}, data), "declares 65535 channels");
    refused(wave64({.channels = 65535}, data), "declares 65535 channels");
    refused(wav({.rate = 0}, data), "sampling rate of 0 Hz");
    refused(wav({.rate = 0xFFFFFFFF}, data), "sampling rate of 4294967295 Hz");
    refused(aiff({.channels = 0}, 4, data), "declares 0 channels");
    refused(aiff({.rate = 0}, 4, data), "sampling rate of 0 Hz");
    refused(wav({.bits = 0}, data), "0 bits");
    refused(wav({.bits = 64}, data), "64 bits");
    refused(wav({.tag = 3, .bits = 16}, data), "16 bits");
    refused(wav({.bits = 65535}, data), "65535 bits");
    ASSERT_EQ(load<WaveReader>(wav({.channels = 64, .bits = 8}, data)), DSD_SUCCESS) << error;
    EXPECT_EQ(recording.signal.frames(), 1u);
}

TEST_F(WaveDamage, RareLayouts)
{
    const Noise noise = makeNoise("s16le", 2, 20);
    ASSERT_EQ(load<WaveReader>(wav({}, bigEndian16(noise), ByteOrder::big)), DSD_SUCCESS) << error;
    expectTruth(noise);

    // 20 valid bits, left-justified in three bytes.
    const Noise wide = makeNoise("s24le", 2, 20);
    ASSERT_EQ(load<WaveReader>(wav({.bits = 20}, wide.raw)), DSD_SUCCESS) << error;
    EXPECT_EQ(recording.info.bitsPerSample, 20);
    expectTruth(wide);

    // 24 bits that take four bytes.
    const Noise spacious = makeNoise("s32le", 2, 20);
    ASSERT_EQ(load<WaveReader>(wav({.bits = 24, .sampleBytes = 4}, spacious.raw)), DSD_SUCCESS) << error;
    expectTruth(spacious);

    const Noise floating = makeNoise("f64le", 2, 20); // without the extension that ffmpeg writes
    ASSERT_EQ(load<WaveReader>(wave64({.tag = 3, .bits = 64}, floating.raw)), DSD_SUCCESS) << error;
    expectTruth(floating);

    ASSERT_EQ(load<WaveReader>(aiff({}, 20, bigEndian16(noise), 10)), DSD_SUCCESS) << error;
    expectTruth(noise);

    // An odd chunk with its pad byte in front, and the sound before its description.
    ByteWriter out(ByteOrder::little);
    out.tag("RIFF").u32(0).tag("WAVE").tag("odd ").u32(3).tag("abc").u8(0);
    out.tag("data").u32(static_cast<std::uint32_t>(noise.raw.size())).raw(noise.raw);
    out.tag("fmt ").u32(16).raw(formatChunk({}));
    ASSERT_EQ(load<WaveReader>(out.take()), DSD_SUCCESS) << error;
    expectTruth(noise);
}

TEST_F(WaveDamage, SamplesThatAreNoSoundBecomeSilence)
{
    Noise noise = makeNoise("f32le", 2, kLoadChunkFrames + 100);
    const auto put = [&](std::size_t frame, std::size_t channel, float value, double expected) {
        const std::size_t i = frame * 2 + channel;
        const auto bits = std::bit_cast<std::uint32_t>(value);
        for (std::size_t b = 0; b < 4; ++b) noise.raw[4 * i + b] = static_cast<std::uint8_t>(bits >> (8 * b));
        noise.truth[i] = expected;
    };
    put(70000 % noise.frames(), 0, std::numeric_limits<float>::quiet_NaN(), 0);
    put(7, 1, -std::numeric_limits<float>::infinity(), 0);
    put(9, 0, 1.5e6f, 0);
    put(10, 0, -9e5f, -9e5);
    ASSERT_EQ(load<WaveReader>(wav({.tag = 3, .bits = 32}, noise.raw)), DSD_SUCCESS) << error;
    expectTruth(noise);
    EXPECT_EQ(report.text, "Warning             \t3 samples are not finite or beyond 1e+06 and were set to 0; the "
                           "first is frame 7 of channel 2\n");
}

} // namespace
} // namespace tesk
