// TTA files from an independent encoder: whole, damaged, cut, and with headers that lie.
#include "input/crc32.h"
#include "input/tta_reader.h"
#include "tests/input/load_fixture.h"

namespace tesk {
namespace {

constexpr std::size_t kHeader = 22;

/// A medley: 500 frames each of full-scale noise, silence, a square of full scale, a click in silence, and music.
double medley(std::size_t i, std::size_t c)
{
    const double t = double(i), channel = double(c);
    switch (i / 500 % 5) {
    case 0: return 2.1 * std::fmod(std::abs(std::sin(t * 12.9898 + channel * 78.233) * 43758.5453), 1.0) - 1.05;
    case 1: return 0;
    case 2: return std::fmod(t + 31 * channel, 200) < 100 ? 1 : -1;
    case 3: return i % 500 == 250 ? -1 : 0;
    default: return 0.5 * std::sin(t * (0.031 + 0.01 * channel)) + 0.2 * std::sin(t * 0.57) + 1e-3 * std::sin(t * t);
    }
}

Noise makeMedley(const std::string& name, std::uint32_t channels, std::size_t frames)
{
    Noise sound{name, channels, {}, {}};
    const double top = std::ldexp(1.0, sound.bits() - 1);
    for (std::size_t i = 0; i < frames * channels; ++i)
        sound.append(
            static_cast<std::int64_t>(std::clamp(std::floor(top * medley(i / channels, i % channels)), -top, top - 1)));
    return sound;
}

std::uint32_t u32At(const Bytes& file, std::size_t at)
{
    return file[at] | file[at + 1] << 8 | file[at + 2] << 16 | static_cast<std::uint32_t>(file[at + 3]) << 24;
}
/// With other fields of 32 bits, and with checksums that agree: the header's, and the table's if it has `entries`.
Bytes lie(Bytes file, std::initializer_list<std::pair<std::size_t, std::uint32_t>> fields, std::size_t entries = 0)
{
    const auto put = [&file](std::size_t at, std::uint32_t value) {
        for (std::size_t i = 0; i < 4; ++i) file[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
    };
    for (const auto& [at, value] : fields) put(at, value);
    put(18, crc32(std::span(file).first(18)));
    if (entries > 0) put(kHeader + 4 * entries, crc32(std::span(file).subspan(kHeader, 4 * entries)));
    return file;
}
std::size_t blockStart(const Bytes& file, std::size_t blocks, std::size_t block)
{
    std::size_t at = kHeader + 4 * blocks + 4;
    for (std::size_t b = 0; b < block; ++b) at += u32At(file, kHeader + 4 * b);
    return at;
}

class Tta : public LoadTest {
protected:
    /// Encodes to `x.tta` and returns the bytes; the encoder's own decoder must give the samples back.
    Bytes encode(const Noise& noise, unsigned rate = 245, const std::string& options = "-bitexact")
    {
        run(ffmpeg(noise, rate) + options + " -c:a tta x.tta && ffmpeg -v error -y -i x.tta -f " + noise.format +
            " back && cmp raw back");
        return contents(at("x.tta"));
    }
};

/// Noise goes through the widest codes, silence through the shortest, the click in it through the longest runs.
TEST_F(Tta, EveryWidthAndChannelCountIsSampleExact)
{
    // Blocks of 5120 and of 46080 frames, which is more than a piece and less than a read: the encoder has no room for
    // shorter blocks of noise.
    for (const auto& [rate, frames] : {std::pair(4900u, 11000u), std::pair(44100u, 100000u)})
        for (const char* name : {"u8", "s16le", "s24le"})
            for (const std::uint32_t channels : {1u, 2u, 3u, 6u, 8u}) {
                if (rate > 4900 && channels != 2) continue; // for the sake of time
                const Noise sound = makeMedley(name, channels, frames);
                encode(sound, rate);
                EXPECT_EQ(loadFrom(TtaReader(), at("x.tta")), DSD_SUCCESS) << error; // by the path
                expectSound(sound, "TTA", rate);
            }
}

TEST_F(Tta, EveryFilterAgreesWithTheReference)
{
    const TtaFilter fast = ttaFilterFor(platform::cpuFeatures());
    ASSERT_EQ(ttaFilterFor({}), &ttaFilterScalar);
    std::mt19937 random(7);
    for (const int bytes : {1, 2, 3})
        for (const int width : {1, 8, 16, 24, 32}) { // the last makes all sums wrap
            std::vector<std::int32_t> values(3000);
            for (auto& v : values) v = random() % 5 == 0 ? 0 : static_cast<std::int32_t>(random()) >> (32 - width);
            auto expected = values;
            TtaFilterState one, other;
            ttaFilterScalar(one, ttaShifts(bytes), expected.data(), expected.size());
            for (std::size_t at = 0; at < values.size();) {
                const std::size_t count = std::min<std::size_t>(random() % 100, values.size() - at);
                fast(other, ttaShifts(bytes), values.data() + at, count);
                at += count;
            }
            EXPECT_EQ(values, expected) << bytes << " bytes, residuals of " << width << " bits";
            EXPECT_EQ(one.weights, other.weights);
        }
}

TEST_F(Tta, TagsAroundTheStreamAreSkipped)
{
    const Noise noise = makeNoise("s16le", 2, 1000);
    const Bytes tagged = encode(noise, 245, "-metadata title=x"); // an APEv2 tag behind
    const std::string ape = "APETAGEX";
    ASSERT_NE(std::search(tagged.begin(), tagged.end(), ape.begin(), ape.end()), tagged.end());
    ByteWriter out(ByteOrder::big);
    out.tag("ID3").u8(4).u16(0).u8(0).u8(0).u8(1).u8(5).raw(Bytes(133, 'T')); // 133 = 1 · 128 + 5
    out.raw(tagged).tag("TAG").raw(Bytes(125, ' '));
    ASSERT_EQ(load<TtaReader>(out.take()), DSD_SUCCESS) << error;
    EXPECT_EQ(report.text, "");
    expectTruth(noise);
}

/// Checksums right, contents wrong or beyond this decoder: foreign formats, faulty writers, attackers.
TEST_F(Tta, SealedLiesAreFoundOut)
{
    const Noise noise = makeNoise("s16le", 2, 600);
    const Bytes whole = encode(noise);
    const std::size_t tag = 0, format = 4, channels = 6, bits = 8, rate = 10, total = 14, one = kHeader, two = one + 4;
    const std::uint32_t first = u32At(whole, one), second = u32At(whole, two), most = 0x7FFFFFFF;
    Bytes ones = whole; // a run longer than the block
    const std::size_t at = blockStart(ones, 3, 1), size = second - 4;
    std::fill_n(ones.begin() + static_cast<std::ptrdiff_t>(at), size, std::uint8_t{0xFF});
    const struct {
        Bytes file;
        std::string why;
    } cases[] = {
        {lie(whole, {{tag, 0x32415454}}), "first version"}, // "TTA2"
        {lie(whole, {{tag, 0x31415458}}), "not TTA"},
        {lie(whole, {{format, 2 | 2 << 16}}), "encrypted"},
        {lie(whole, {{format, 3 | 2 << 16}}), "floating-point"},
        {lie(whole, {{format, 9 | 2 << 16}}), "format 9"},
        {lie(whole, {{channels, 0 | 16 << 16}}), "0 channels"},
        {lie(whole, {{channels, 9 | 16 << 16}}), "9 channels"},
        {lie(whole, {{bits, 12 | 245 << 16}}), "12 bits"},
        {lie(whole, {{bits, 32 | 245 << 16}}), "32 bits"},
        {lie(whole, {{rate, 0}}), "sample rate of 0"},
        {lie(whole, {{total, 0xFFFFFFFF}}), "seek table is cut short"},
        {lie(whole, {{rate, most}, {total, most}}), "seek table is damaged"}, // one block of 2^31 frames
        {lie(whole, {{rate, most}, {total, most}}, 1), "frame 0 (sample 0 of 2147483647): its size"},
        {lie(whole, {{total, 712}}), "frame 2 (sample 512 of 712): the samples"},
        {lie(whole, {{channels, 3 | 16 << 16}}), "frame 0 (sample 0 of 600): the samples need more bits"},
        {lie(whole, {{channels, 2 | 8 << 16}}), "frame 0 (sample 0 of 600): the samples exceed their width"},
        {lie(whole, {{one, 0}}, 3), "frame 0 (sample 0 of 600): its size"},
        {lie(whole, {{two, 0xFFFFFFFF}}, 3), "frame 1 (sample 256 of 600): the file is cut short"},
        {lie(whole, {{one, first - 1}, {two, second + 1}}, 3), "frame 0 (sample 0 of 600): checksum mismatch"},
        {lie(whole, {{two, second - 70}}, 3), "frame 1 (sample 256 of 600): checksum mismatch"},
        {lie(whole, {{one, first - 1}}), "frame 0 (sample 0 of 600): checksum mismatch"}, // with a warning before
        {lie(whole, {{one, 0}}), "seek table is damaged"},
        {lie(whole, {{one, 0xFFFFFFFF}}), "seek table is damaged"},
        {lie(ones, {{at + size, crc32(std::span(ones).subspan(at, size))}}),
         "frame 1 (sample 256 of 600): the samples"},
    };
    memory = [] { return std::uint64_t{1} << 60; };
    for (const auto& c : cases) expectRefused(load<TtaReader>(c.file), c.why);

    ASSERT_EQ(load<TtaReader>(lie(whole, {{total, 562}})), DSD_SUCCESS) << error;
    EXPECT_TRUE(reported("TTA frame 2 is")) << report.text; // bits are left over
    expectTruth(noise, 562);
    ASSERT_EQ(load<TtaReader>(lie(whole, {{total, 0}})), DSD_SUCCESS) << error;
    EXPECT_EQ(recording.signal.frames(), 0u);

    const Bytes longer = lie(whole, {{total, 712}});
    TtaReader reader; // a loss in the middle of a block stays one
    ASSERT_TRUE(reader.open(std::make_unique<MemorySource>(longer)).ok());
    ASSERT_TRUE(reader.seek(550).ok());
    EXPECT_EQ(readOn(reader, 10).size(), 20u);
    EXPECT_TRUE(readingFails(reader));
    EXPECT_TRUE(readingFails(reader));
    for (const std::uint64_t behind : {std::uint64_t{713}, std::uint64_t{1} << 40})
        EXPECT_EQ(reader.seek(behind).status(), DSD_ERROR_INPUT);
    EXPECT_EQ(reader.errorText(), "TTA set_position failed");
}

TEST_F(Tta, NoPrefixAndNoFlippedBitPassesForAWholeFile)
{
    const Noise noise = makeMedley("u8", 1, 316); // a block of 256 frames and a short one
    const Bytes whole = encode(noise);
    const std::size_t end = blockStart(whole, 2, 2);
    expectNoPrefixPasses<TtaReader>(whole, end);
    expectRefused(load<TtaReader>(Bytes(whole.data(), whole.data() + end - 1)),
                  "at frame 1 (sample 256 of 316): the file is cut short");
    const std::size_t tableSum = kHeader + 2 * 4; // the one place that costs no sample
    for (std::size_t bit = 0; bit < 8 * end; ++bit) {
        SCOPED_TRACE("bit " + std::to_string(bit));
        Bytes file = whole;
        file[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
        if (bit / 8 < tableSum || bit / 8 >= tableSum + 4) {
            expectRefused(load<TtaReader>(file), "");
        } else {
            ASSERT_EQ(load<TtaReader>(file), DSD_SUCCESS) << error;
            EXPECT_NE(report.text, "");
            expectTruth(noise);
        }
    }
}

} // namespace
} // namespace tesk
