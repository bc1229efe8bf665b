// Reading from the middle: the same samples as reading from the start, and damage found as well.
#include "tests/input/load_fixture.h"

#include "input/open_reader.h"

namespace tesk {
namespace {

constexpr std::size_t kFrames = 30011;

class Seek : public LoadTest {
protected:
    static constexpr std::uint32_t kChannels = 2;
    using Samples = std::vector<double>; // [frames][channels]

    std::unique_ptr<PcmReader> reader(const std::string& name)
    {
        auto made = openReader(at(name), {report, stop, memory}, error);
        EXPECT_TRUE(made) << name << ": " << error;
        return made;
    }
    /// The next frames, up to `frames` of them.
    static Samples next(PcmReader& from, std::size_t frames)
    {
        std::vector<double> left(frames), right(frames);
        double* const planar[] = {left.data(), right.data()};
        const auto got = from.read(planar, frames);
        EXPECT_TRUE(got.ok()) << from.errorText();
        Samples samples;
        for (std::size_t i = 0; got.ok() && i < *got; ++i) samples.insert(samples.end(), {left[i], right[i]});
        return samples;
    }
    static bool fails(PcmReader& from)
    {
        std::vector<double> room(2 * kFrames);
        double* const planar[] = {room.data(), room.data() + kFrames};
        return !from.read(planar, kFrames).ok() && !from.errorText().empty();
    }
    /// Seeks to borders and anywhere, forwards and back, and reads a piece, or all that is left.
    void expectSeekable(const std::string& name)
    {
        SCOPED_TRACE(name);
        auto from = reader(name);
        const Samples all = next(*from, 2 * kFrames);
        const std::size_t total = all.size() / kChannels;
        ASSERT_GE(total, kFrames - 1);
        std::vector<std::size_t> positions = {total, 0, total - 1, 1, 4095, 4096, 4097, 8192, total, 1000, 999};
        std::mt19937 random(7);
        for (int i = 0; i < 40; ++i) positions.push_back(random() % total);
        for (const std::size_t position : positions) {
            ASSERT_TRUE(from->seek(position).ok()) << position << from->errorText();
            const std::size_t count = std::min<std::size_t>(position % 3 ? 5000 : kFrames, total - position);
            const Samples piece = next(*from, position % 3 ? 5000 : kFrames);
            ASSERT_EQ(piece.size(), count * kChannels) << position;
            ASSERT_TRUE(
                std::equal(piece.begin(), piece.end(), all.begin() + static_cast<std::ptrdiff_t>(position * kChannels)))
                << position;
            if (position + count == total) {
                ASSERT_TRUE(next(*from, 1).empty());
            }
        }
        EXPECT_TRUE(from->warnings().empty()) << from->warnings()[0];
        EXPECT_EQ(from->seek(total + 1).status(), DSD_ERROR_INPUT);
        EXPECT_NE(from->errorText(), "");
        EXPECT_TRUE(fails(*from));
    }
    void writeNoise(const std::string& name) { save(at("pcm.raw"), makeNoise(name, kChannels, kFrames).raw); }
};

TEST_F(Seek, GivesTheTailOfTheWhole)
{
    writeNoise("s24le");
    run("ffmpeg -v error -f s24le -ar 44100 -ac 2 -i pcm.raw -c:a pcm_s24le s24.wav -c:a pcm_s16le s16.wav "
        "-c:a pcm_f32le f32.wav -c:a pcm_s24le s24.w64 -c:a pcm_s24be s24.aiff -c:a pcm_f64le f64.wav "
        "-c:a adpcm_ima_wav ima.wav -c:a adpcm_ms ms.wav && "
        "flac -s -f s24.wav -o table.flac && flac -s -f -b 1152 --no-seektable --no-padding s16.wav -o bare.flac && "
        "wavpack -q s24.wav -o s24.wv && wavpack -q -b4 -c --blocksize=1000 s16.wav -o hybrid.wv && "
        "wavpack -q f32.wav --blocksize=3000 -o f32.wv");
    for (const char* name : {"s24.wav", "s16.wav", "f32.wav", "f64.wav", "s24.w64", "s24.aiff", "ima.wav", "ms.wav",
                             "table.flac", "bare.flac", "s24.wv", "hybrid.wv", "f32.wv"})
        expectSeekable(name);
    Bytes endless = contents(at("bare.flac"));
    endless[21] &= 0xF0; // the upper four bits of the total, then the lower 32
    std::fill_n(endless.begin() + 22, 4, std::uint8_t{0});
    save(at("endless.flac"), endless);
    expectSeekable("endless.flac");
}

TEST_F(Seek, DamageIsFoundWhereverReadingStarts)
{
    writeNoise("s16le");
    run("flac -s -f -b 1000 --no-padding --force-raw-format --endian=little --sign=signed --channels=2 --bps=16 "
        "--sample-rate=44100 pcm.raw -o x.flac && wavpack -q --blocksize=1000 --raw-pcm pcm.raw -o x.wv");
    for (const char* name : {"x.flac", "x.wv"}) {
        SCOPED_TRACE(name);
        const Bytes whole = contents(at(name));
        const Samples all = next(*reader(name), kFrames);
        Bytes damaged = whole;
        damaged[whole.size() / 2] ^= 0x10; // near frame 15000
        save(at(std::string("d") + name), damaged);
        save(at(std::string("c") + name), Bytes(whole.begin(), whole.end() - 200));
        for (std::size_t position = 0; position < 15900; position += 300) {
            auto from = reader(std::string("d") + name);
            if (from->seek(position).ok()) {
                EXPECT_TRUE(position > 15300 || fails(*from)) << position;
            } else {
                EXPECT_GT(position, 13000u);
            }
        }
        auto behind = reader(std::string("d") + name);
        ASSERT_TRUE(behind->seek(20000).ok()) << behind->errorText();
        EXPECT_EQ(next(*behind, kFrames), Samples(all.begin() + 40000, all.end()));
        auto cut = reader(std::string("c") + name);
        ASSERT_TRUE(cut->seek(20000).ok()) << cut->errorText();
        EXPECT_TRUE(fails(*cut));
    }
}

} // namespace
} // namespace tesk
