// Headers that lie, files that end early, and formats that no program here writes.
#include "tests/input/load_fixture.h"

#include <limits>
#include <map>

namespace tesk {
namespace {

constexpr std::uint8_t kGuidTail[] = {0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
constexpr std::uint8_t kRiffGuidTail[] = {0x2E, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};

/// A header with any figures in it.
struct Figures {
    std::uint32_t tag = 1, channels = 2, rate = 44100, bits = 16;
    std::uint32_t sampleBytes = 0;               // where the block alignment says another width than the bits
    std::optional<std::uint64_t> dataBytes = {}; // declared, where it is not the truth

    std::uint32_t align() const { return channels * (sampleBytes > 0 ? sampleBytes : (bits + 7) / 8); }
};

Bytes formatChunk(const Figures& f, ByteOrder order = ByteOrder::little)
{
    ByteWriter out(order);
    out.u16(static_cast<std::uint16_t>(f.tag)).u16(static_cast<std::uint16_t>(f.channels)).u32(f.rate);
    out.u32(f.rate * f.align()).u16(static_cast<std::uint16_t>(f.align())).u16(static_cast<std::uint16_t>(f.bits));
    return out.take();
}

Bytes riff(const Figures& f, const Bytes& data, ByteOrder order)
{
    ByteWriter out(order);
    out.tag(order == ByteOrder::big ? "RIFX" : "RIFF").u32(static_cast<std::uint32_t>(36 + data.size())).tag("WAVE");
    out.tag("fmt ").u32(16).raw(formatChunk(f, order));
    out.tag("data").u32(static_cast<std::uint32_t>(f.dataBytes.value_or(data.size()))).raw(data);
    return out.take();
}

Bytes wav(const Figures& f, const Bytes& data) { return riff(f, data, ByteOrder::little); }

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

Bytes bigEndian16(Bytes data)
{
    for (std::size_t i = 0; i + 1 < data.size(); i += 2) std::swap(data[i], data[i + 1]);
    return data;
}

/// At 44100 Hz or 0, with 16 bits; `offset` bytes of filling stand before the sound.
Bytes aiffWithFilling(const Figures& f, const Bytes& data, std::uint32_t offset)
{
    const std::uint64_t frames = f.dataBytes.value_or(data.size()) / std::max(f.align(), 1u);
    ByteWriter out(ByteOrder::big);
    out.tag("FORM").u32(static_cast<std::uint32_t>(46 + data.size())).tag("AIFF").tag("COMM").u32(18);
    out.u16(static_cast<std::uint16_t>(f.channels)).u32(static_cast<std::uint32_t>(frames)).u16(16);
    out.u16(f.rate == 0 ? 0 : 0x400E).u64(f.rate == 0 ? 0 : 0xAC44000000000000);
    out.tag("SSND").u32(static_cast<std::uint32_t>(8 + offset + data.size()));
    out.u32(offset).u32(0).raw(Bytes(offset, 0x5A)).raw(bigEndian16(data));
    return out.take();
}

Bytes aiff(const Figures& f, const Bytes& data) { return aiffWithFilling(f, data, 0); }

constexpr auto kWriters = {wav, wave64, rf64, aiff};

class WaveDamage : public LoadTest {
protected:
    const Noise noise = makeNoise("s16le", 2, 100);
};

TEST_F(WaveDamage, AHugeDeclaredLengthStopsAtTheGate)
{
    const Figures lie{.dataBytes = std::uint64_t{1} << 42};
    memory = [] { return std::uint64_t{64} << 30; };
    for (const auto writer : {wave64, rf64}) {
        expectRefused(load<WaveReader>(writer(lie, noise.raw)), "");
        EXPECT_EQ(report.text,
                  "Error: a 16384.0 GB signal buffer is needed (2ch x 1099511627776 samples), but only 64.0 GB of "
                  "physical memory is available -- refusing to allocate.\n"
                  "  This usually means the length declared in the input header cannot be trusted "
                  "(malformed/truncated), or the input is simply too long:\n"
                  "  Please check the file, or use a shorter input / a lower sample rate.\n");
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
    for (const auto writer : kWriters) {
        ASSERT_EQ(load<WaveReader>(writer({.dataBytes = 404}, noise.raw)), DSD_SUCCESS) << error;
        expectTruth(noise);
        EXPECT_EQ(report.text, "Warning             \tthe header declares 101 frames, the file holds 100; the latter "
                               "are used\n");
    }
    ASSERT_EQ(load<WaveReader>(wav({.dataBytes = 200}, noise.raw)), DSD_SUCCESS);
    expectTruth(noise, 50); // the rest is another chunk, not sound
    for (const auto writer : {wav, wave64, rf64}) {
        ASSERT_EQ(load<WaveReader>(writer({.dataBytes = 0}, noise.raw)), DSD_SUCCESS);
        expectTruth(noise);
    }
    ByteWriter list(ByteOrder::little); // the tags of an empty recording are no sound
    list.tag("LIST").u32(16).tag("INFOINAM").u32(4).tag("Tune");
    ASSERT_EQ(load<WaveReader>(wav({.dataBytes = 0}, list.take())), DSD_SUCCESS);
    EXPECT_EQ(recording.signal.frames(), 0u);
    // Digital silence looks like a row of empty chunks, but is sound all the same.
    ASSERT_EQ(load<WaveReader>(wav({.dataBytes = 0}, Bytes(80, 0))), DSD_SUCCESS);
    EXPECT_EQ(recording.signal.frames(), 20u);
}

TEST_F(WaveDamage, EveryPrefixEndsInAStatus)
{
    const Noise shortNoise = makeNoise("s16le", 2, 20);
    for (const auto writer : kWriters) {
        const Bytes whole = writer({}, shortNoise.raw);
        const std::size_t header = whole.size() - shortNoise.raw.size();
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            SCOPED_TRACE(length);
            const auto status = load<WaveReader>(Bytes(whole.data(), whole.data() + length));
            // AIFF is complete at the head of its sound chunk; offset and block size may already be missing.
            if (length >= header)
                expectTruth(shortNoise, (length - header) / 4);
            else if (status == DSD_SUCCESS)
                EXPECT_EQ(recording.signal.frames(), 0u);
            else
                expectRefused(status, "");
        }
    }
}

TEST_F(WaveDamage, ImplausibleHeadersAreRefused)
{
    const Bytes data(64, 0);
    const std::pair<Bytes, const char*> cases[] = {
        {wav({.channels = 0}, data), "declares 0 channels"},
        {wav({.channels = 65}, data), "declares 65 channels"},
        {wave64({.channels = 65535}, data), "declares 65535 channels"},
        {wav({.rate = 0}, data), "sampling rate of 0 Hz"},
        {wav({.rate = 0xFFFFFFFF}, data), "sampling rate of 4294967295 Hz"},
        {aiff({.channels = 0}, data), "declares 0 channels"},
        {aiff({.rate = 0}, data), "sampling rate of 0 Hz"},
        {wav({.bits = 0}, data), "0 bits"},
        {wav({.bits = 64}, data), "64 bits"},
        {wav({.tag = 3, .bits = 16}, data), "16 bits"},
        {wav({.bits = 65535}, data), "65535 bits"},
    };
    for (const auto& [file, why] : cases) expectRefused(load<WaveReader>(file), why);
    ASSERT_EQ(load<WaveReader>(wav({.channels = 64, .bits = 8}, data)), DSD_SUCCESS) << error;
    EXPECT_EQ(recording.signal.frames(), 1u);
}

TEST_F(WaveDamage, RareLayouts)
{
    const auto expectLoaded = [&](const Bytes& file, const Noise& sound, int bits) {
        EXPECT_EQ(load<WaveReader>(file), DSD_SUCCESS) << error;
        EXPECT_EQ(recording.info.bitsPerSample, bits);
        expectTruth(sound);
    };
    expectLoaded(riff({}, bigEndian16(noise.raw), ByteOrder::big), noise, 16);
    expectLoaded(aiffWithFilling({}, noise.raw, 10), noise, 16);
    const Noise wide = makeNoise("s24le", 2, 20); // 20 valid bits, left-justified in three bytes
    expectLoaded(wav({.bits = 20}, wide.raw), wide, 20);
    const Noise spacious = makeNoise("s32le", 2, 20); // 24 bits that take four bytes
    expectLoaded(wav({.bits = 24, .sampleBytes = 4}, spacious.raw), spacious, 24);
    const Noise floating = makeNoise("f64le", 2, 20); // without the extension that ffmpeg writes
    expectLoaded(wave64({.tag = 3, .bits = 64}, floating.raw), floating, 64);

    // An odd chunk with its pad byte in front, and the sound before its description.
    ByteWriter out(ByteOrder::little);
    out.tag("RIFF").u32(0).tag("WAVE").tag("odd ").u32(3).tag("abc").u8(0);
    out.tag("data").u32(static_cast<std::uint32_t>(noise.raw.size())).raw(noise.raw);
    out.tag("fmt ").u32(16).raw(formatChunk({}));
    expectLoaded(out.take(), noise, 16);
}

TEST_F(WaveDamage, SamplesThatAreNoSoundBecomeSilence)
{
    Noise sound{"f32le", 2, {}, {}};
    const float inf = std::numeric_limits<float>::infinity();
    const std::map<std::size_t, double> odd = {
        {2 * 65600, std::nan("")}, {2 * 7 + 1, -inf}, {2 * 9, 1.5e6}, {2 * 10, -9e5}};
    for (std::size_t i = 0; i < 2 * (kLoadChunkFrames + 100); ++i) {
        const auto found = odd.find(i);
        sound.appendFloat(found != odd.end() ? found->second : std::sin(static_cast<double>(i)));
        if (!(std::abs(sound.truth[i]) <= 1e6)) sound.truth[i] = 0;
    }
    ASSERT_EQ(load<WaveReader>(wav({.tag = 3, .bits = 32}, sound.raw)), DSD_SUCCESS) << error;
    expectTruth(sound);
    EXPECT_EQ(report.text, "Warning             \t3 samples are not finite or beyond 1e+06 and were set to 0; the "
                           "first is frame 7 of channel 2\n");
}

} // namespace
} // namespace tesk
