// Reading from the middle: the same samples as reading from the start, and damage found as well.
#include "input/open_reader.h"
#include "tests/input/load_fixture.h"

namespace tesk {
namespace {

constexpr std::size_t kFrames = 30011, kChannels = 2;

class Seek : public LoadTest {
protected:
    std::unique_ptr<PcmReader> reader(const std::string& name)
    {
        auto made = openReader(at(name), {report, stop, memory}, error);
        EXPECT_TRUE(made) << name << ": " << error;
        return made;
    }
    /// Seeks to borders and anywhere, forwards and back, and reads a piece, or all that is left.
    void expectSeekable(const std::string& name)
    {
        SCOPED_TRACE(name);
        auto from = reader(name);
        const Samples all = readOn(*from, 2 * kFrames);
        const std::size_t total = all.size() / kChannels;
        ASSERT_GE(total, kFrames - 1);
        std::vector<std::size_t> positions = {total, 0, total - 1, 1, 4095, 4096, 4097, 8192, total, 1000, 999};
        std::mt19937 random(7);
        for (int i = 0; i < 40; ++i) positions.push_back(random() % total);
        for (const std::size_t position : positions) {
            ASSERT_TRUE(from->seek(position).ok()) << position << from->errorText();
            const std::size_t wanted = position % 3 ? 5000 : kFrames, end = std::min(position + wanted, total);
            const Samples expected(all.begin() + static_cast<std::ptrdiff_t>(position * kChannels),
                                   all.begin() + static_cast<std::ptrdiff_t>(end * kChannels));
            ASSERT_TRUE(readOn(*from, wanted) == expected) << position;
            ASSERT_TRUE(end < total || readOn(*from, 1).empty()) << position;
        }
        EXPECT_TRUE(from->warnings().empty()) << from->warnings()[0];
        EXPECT_EQ(from->seek(total + 1).status(), DSD_ERROR_INPUT);
        EXPECT_NE(from->errorText(), "");
        EXPECT_TRUE(readingFails(*from));
    }
};

TEST_F(Seek, GivesTheTailOfTheWhole)
{
    run(ffmpeg(makeNoise("s24le", kChannels, kFrames), 44100) +
        "-c:a pcm_s24le s24.wav -c:a pcm_s16le s16.wav -c:a pcm_f32le f32.wav -c:a pcm_s24le s24.w64 "
        "-c:a pcm_s24be s24.aiff -c:a pcm_f64le f64.wav -c:a adpcm_ima_wav ima.wav -c:a adpcm_ms ms.wav && "
        "flac -s -f s24.wav -o table.flac && flac -s -f -b 1152 --no-seektable --no-padding s16.wav -o bare.flac && "
        "wavpack -q s24.wav -o s24.wv && wavpack -q -b4 -c --blocksize=1000 s16.wav -o hybrid.wv && "
        "wavpack -q f32.wav --blocksize=3000 -o f32.wv");
    run(ffmpeg(makeNoise("s16le", kChannels, kFrames), 245) + "x.tta"); // blocks of 256 frames
    Bytes endless = contents(at("bare.flac"));
    endless[21] &= 0xF0; // the upper four bits of the total, then the lower 32
    std::fill_n(endless.begin() + 22, 4, std::uint8_t{0});
    save(at("endless.flac"), endless);
    for (const char* name : {"s24.wav", "s16.wav", "f32.wav", "f64.wav", "s24.w64", "s24.aiff", "ima.wav", "ms.wav",
                             "table.flac", "bare.flac", "s24.wv", "hybrid.wv", "f32.wv", "x.tta", "endless.flac"})
        expectSeekable(name);
}

TEST_F(Seek, DamageIsFoundWhereverReadingStarts)
{
    run(ffmpeg(makeNoise("s16le", kChannels, kFrames), 245) +
        "x.tta && flac -s -f -b 1000 --no-padding --force-raw-format --endian=little --sign=signed --channels=2 "
        "--bps=16 --sample-rate=44100 raw -o x.flac && mv raw pcm.raw && wavpack -q --blocksize=1000 --raw-pcm pcm.raw "
        "-o x.wv");
    // From where on the damaged block, near frame 15000, may be behind: a block has 1000, or 256, frames.
    for (const auto& [file, border] : {std::pair("x.flac", 15300u), {"x.wv", 15300u}, {"x.tta", 14700u}}) {
        const std::string name = file;
        SCOPED_TRACE(name);
        const Bytes whole = contents(at(name));
        const Samples all = readOn(*reader(name), kFrames);
        Bytes damaged = whole;
        damaged[whole.size() / 2] ^= 0x10;
        save(at("d" + name), damaged);
        save(at("c" + name), Bytes(whole.begin(), whole.end() - 200));
        for (std::size_t position = 0; position < 15900; position += 300) {
            auto from = reader("d" + name);
            const bool found = from->seek(position).ok();
            EXPECT_TRUE(found || position > 13000) << position;
            EXPECT_TRUE(readingFails(*from) || (found && position > border)) << position;
        }
        auto behind = reader("d" + name);
        ASSERT_TRUE(behind->seek(20000).ok()) << behind->errorText();
        EXPECT_EQ(readOn(*behind, kFrames), Samples(all.begin() + 40000, all.end()));
        auto cut = reader("c" + name);
        ASSERT_TRUE(cut->seek(20000).ok()) << cut->errorText();
        EXPECT_TRUE(readingFails(*cut));
    }
    auto again = reader("dx.tta"); // what failed can still be sought in
    EXPECT_TRUE(readingFails(*again));
    EXPECT_TRUE(again->seek(20000).ok());
    EXPECT_EQ(readOn(*again, kFrames).size(), kChannels * (kFrames - 20000));
}

} // namespace
} // namespace tesk
