// The shipped decoder plugin, driven through its seven symbols. Truth is the noise that was encoded, or, for lossy
// codecs, what the ffmpeg program decodes.
#include "public/tesk_ext_decoder.h"
#include "tests/input/load_fixture.h"

#include <cstring>
#include <dlfcn.h>
#include <thread>

namespace tesk {
namespace {

struct Plugin {
    void* library = dlopen(TESK_EXT_FFMPEG, RTLD_NOW | RTLD_LOCAL);
#define TESK_FIND(name)                                                                                                \
    decltype(&tesk_ext_##name) name = reinterpret_cast<decltype(&tesk_ext_##name)>(dlsym(library, "tesk_ext_" #name))
    TESK_FIND(abi_version);
    TESK_FIND(codecs);
    TESK_FIND(open);
    TESK_FIND(read);
    TESK_FIND(seek);
    TESK_FIND(close);
    TESK_FIND(last_error);
#undef TESK_FIND
};

class FfmpegPlugin : public LoadTest {
protected:
    /// Noise of `frames` frames at 44.1 kHz, encoded with these options of ffmpeg.
    Noise encode(const std::string& name, const std::string& raw, std::uint32_t channels, std::size_t frames,
                 const std::string& options) const
    {
        Noise noise = makeNoise(raw, channels, frames);
        run(ffmpeg(noise, 44100) + options + " " + name);
        return noise;
    }

    tesk_ext_decoder* open(const std::string& path)
    {
        format = {};
        format.struct_size = sizeof format;
        return plugin.open(path.c_str(), &format);
    }
    /// Reads on to the end in pieces of a changing size; the last answer goes to `result`.
    Samples readAll(tesk_ext_decoder* decoder, std::int64_t& result, std::uint32_t channels) const
    {
        Samples all;
        for (std::uint64_t step = 1;; step = step * 3 % 20011) {
            Samples piece(step * channels + 1, 7.0); // 7 is no sample
            result = plugin.read(decoder, piece.data(), step);
            if (result <= 0) return all;
            const std::ptrdiff_t count = result * channels;
            EXPECT_EQ(std::count(piece.begin() + count, piece.end(), 7.0), piece.end() - piece.begin() - count);
            all.insert(all.end(), piece.begin(), piece.begin() + count);
        }
    }
    /// The whole file, which has to be sound.
    Samples decode(const std::string& name)
    {
        tesk_ext_decoder* decoder = open(at(name));
        EXPECT_NE(decoder, nullptr) << name << ": " << plugin.last_error(nullptr);
        if (decoder == nullptr) return {};
        std::int64_t result = 0;
        Samples all = readAll(decoder, result, format.channels);
        EXPECT_EQ(result, 0) << name;
        EXPECT_STREQ(plugin.last_error(decoder), "");
        EXPECT_EQ(plugin.read(decoder, &all[0], 1), 0);
        plugin.close(decoder);
        return all;
    }
    /// Seeks forth and back, and compares what follows with the whole decode.
    void expectSeeks(const std::string& name, const Samples& whole, double tolerance)
    {
        SCOPED_TRACE(name);
        tesk_ext_decoder* decoder = open(at(name));
        ASSERT_NE(decoder, nullptr);
        const std::uint64_t frames = whole.size() / format.channels;
        std::mt19937_64 random(1);
        std::vector<std::uint64_t> places{0, 1, 4096, 4095, frames, frames - 1, 44100 * 3, 4608 * 25, 0};
        for (int i = 0; i < 8; ++i) places.push_back(random() % frames);
        places.push_back(5000);
        for (const std::uint64_t place : places) {
            ASSERT_EQ(plugin.seek(decoder, place), 0) << place << ": " << plugin.last_error(decoder);
            if (place == 5000) // stays there
                for (const std::uint64_t behind : {frames + 1, ~std::uint64_t{0}}) {
                    EXPECT_EQ(plugin.seek(decoder, behind), -1);
                    EXPECT_STRNE(plugin.last_error(decoder), "");
                }
            Samples piece(3000 * format.channels);
            std::uint64_t have = 0;
            for (std::int64_t got = 1; have < 3000 && got > 0; have += static_cast<std::uint64_t>(got)) {
                got = plugin.read(decoder, &piece[have * format.channels], 3000 - have);
                ASSERT_GE(got, 0) << plugin.last_error(decoder);
            }
            ASSERT_EQ(have, std::min<std::uint64_t>(3000, frames - place)) << place;
            for (std::size_t i = 0; i < have * format.channels; ++i)
                ASSERT_NEAR(piece[i], whole[place * format.channels + i], tolerance) << place << " + " << i;
        }
        plugin.close(decoder);
    }

    const Plugin plugin{};
    tesk_ext_format format{};
};

TEST_F(FfmpegPlugin, TheInterface)
{
    run("nm -D --defined-only " TESK_EXT_FFMPEG " | cut -d' ' -f3 >symbols");
    const std::string symbols = "tesk_ext_abi_version\ntesk_ext_close\ntesk_ext_codecs\ntesk_ext_last_error\n"
                                "tesk_ext_open\ntesk_ext_read\ntesk_ext_seek\n";
    EXPECT_EQ(contents(at("symbols")), Bytes(symbols.begin(), symbols.end()));
    EXPECT_EQ(plugin.abi_version(), 1);
    EXPECT_NE(std::strstr(plugin.codecs(), "alac,"), nullptr);
    encode("a.m4a", "s16le", 1, 5000, "-c:a alac");
    EXPECT_EQ(plugin.open(nullptr, &format), nullptr);
    EXPECT_EQ(plugin.open(at("a.m4a").c_str(), nullptr), nullptr);
    plugin.close(nullptr);
    std::memset(&format, 0x55, sizeof format);
    format.struct_size = 16; // an engine that knows four fields
    tesk_ext_decoder* decoder = plugin.open(at("a.m4a").c_str(), &format);
    ASSERT_NE(decoder, nullptr);
    EXPECT_EQ(format.struct_size, 16u);
    EXPECT_EQ(format.bits_per_sample, 16u);
    EXPECT_EQ(format.is_float, 0x55555555u);
    plugin.close(decoder);
}

TEST_F(FfmpegPlugin, LosslessFilesComeBackSampleForSample)
{
    const std::size_t frames = 250007;
    const struct {
        const char *name, *raw;
        std::uint32_t channels;
        const char *options, *codec;
        std::size_t length = frames;
    } cases[] = {
        {"16.m4a", "s16le", 2, "-c:a alac", "ALAC"},
        {"24.m4a", "s24le", 1, "-c:a alac", "ALAC"},
        {"51.caf", "s16le", 6, "-c:a alac", "ALAC", 0}, // ffmpeg counts the last packet as full
        {"24.caf", "s24le", 6, "-c:a pcm_s24be", "PCM_S24BE"},
        {"f.caf", "f32le", 2, "-c:a pcm_f32be", "PCM_F32BE"},
        {"d.caf", "f64le", 1, "-c:a pcm_f64le", "PCM_F64LE"},
        {"32.aiff", "s32le", 2, "-c:a pcm_s32be", "PCM_S32BE"},
        {"8.wav", "u8", 2, "-c:a pcm_u8", "PCM_U8"},
        {"16.oga", "s16le", 2, "-c:a flac", "FLAC"},
        {"24.oga", "s24le", 6, "-c:a flac -strict experimental", "FLAC"},
        {"24.tta", "s24le", 2, "-c:a tta", "TTA"},
        {"f.wv", "f32le", 2, "-c:a wavpack", "WAVPACK"},
        {"16.mka", "s16le", 2, "-c:a flac", "FLAC", 0}, // its clock counts milliseconds
    };
    for (const auto& c : cases) {
        const Noise noise = encode(c.name, c.raw, c.channels, frames, c.options);
        ASSERT_EQ(decode(c.name), noise.truth) << c.name;
        EXPECT_EQ(format.channels, c.channels);
        EXPECT_EQ(format.sample_rate, 44100u);
        EXPECT_EQ(format.bits_per_sample, static_cast<unsigned>(noise.bits())) << c.name;
        EXPECT_EQ(format.is_float, noise.isFloat() ? 1u : 0u) << c.name;
        EXPECT_EQ(format.total_frames, c.length) << c.name;
        EXPECT_STREQ(format.codec, c.codec);
        expectSeeks(c.name, noise.truth, 0.0);
    }
}

// The encoder's delay and padding have to go, as they do in the ffmpeg program.
TEST_F(FfmpegPlugin, LossyFilesAreWhatFfmpegDecodes)
{
    const struct {
        const char *name, *options;
        double seekTolerance = 1e-6;
    } cases[] = {
        {"a.m4a", "-ac 2 -c:a aac -aac_pns 0"}, // else the decoder's noise differs after a seek
        {"51.m4a", "-ac 6 -c:a aac -aac_pns 0"},      {"a.aac", "-ac 1 -c:a aac"},
        {"a.mp3", "-ac 2 -c:a libmp3lame -b:a 192k"}, {"v.mp3", "-ac 1 -c:a libmp3lame -q:a 4"},
        {"a.opus", "-ac 2 -c:a libopus", 1e-3}, // its predictors forget the past only by and by
        {"51.opus", "-ac 6 -c:a libopus", 1e-3},      {"a.ogg", "-ac 2 -c:a libvorbis"},
        {"51.ogg", "-ac 6 -c:a libvorbis"},           {"a.ac3", "-ac 6 -c:a ac3"},
    };
    for (const auto& c : cases) {
        const std::string name = c.name;
        run("ffmpeg -v error -y -f lavfi -i \"aevalsrc='0.4*sin(400*t*t)+0.3*sin(2764*t)':d=6.123:s=44100\" " +
            std::string(c.options) + " " + name + " && ffmpeg -v error -y -i " + name + " -f f64le truth");
        const Bytes raw = contents(at("truth"));
        Samples truth(raw.size() / sizeof(double));
        std::memcpy(truth.data(), raw.data(), raw.size());
        const Samples decoded = decode(name);
        ASSERT_EQ(decoded.size(), truth.size()) << c.name;
        for (std::size_t i = 0; i < truth.size(); ++i) ASSERT_NEAR(decoded[i], truth[i], 0x1p-23) << c.name << " " << i;
        EXPECT_EQ(format.bits_per_sample, 0u);
        EXPECT_EQ(format.total_frames, std::strpbrk(c.name, "gu") != nullptr ? decoded.size() / format.channels : 0);
        expectSeeks(c.name, decoded, c.seekTolerance);
    }
}

// FFmpeg's decoder swallows 128 samples of a Vorbis file of one page: all that it gives is the music.
TEST_F(FfmpegPlugin, AShortVorbisFileIsWhole)
{
    run("ffmpeg -v error -y -f lavfi -i sine=1000:r=44100:d=0.5 -ac 2 -c:a libvorbis short.ogg && "
        "ffmpeg -v error -y -i short.ogg -f f64le truth");
    EXPECT_EQ(decode("short.ogg").size(), contents(at("truth")).size() / sizeof(double));
}

// Tags and padding behind a bare stream are no damaged packets, and no sound.
TEST_F(FfmpegPlugin, TagsAreNotTakenForSound)
{
    ByteWriter mark(ByteOrder::little), tag(ByteOrder::little), twoTags(ByteOrder::little);
    mark.tag("APETAGEX").u32(2000).u32(9032).u32(1).u32(0xA0000000).u64(0);
    const Bytes frame = mark.take(), noise = makeNoise("s8", 1, 9000).raw;
    const Bytes ape = tag.raw(frame).raw(noise).raw(frame).take();
    const Bytes both = twoTags.raw(ape).tag("TAG").raw(Bytes(125, 'x')).take();
    for (const char* name : {"a.mp3", "a.aac"}) {
        encode(name, "s16le", 2, 100000, "");
        const Samples plain = decode(name);
        const Bytes bytes = contents(at(name));
        for (const Bytes& tail : {ape, both, Bytes(700, 0)}) {
            ByteWriter file(ByteOrder::little);
            save(at(name), file.raw(bytes).raw(tail).take());
            const Samples decoded = decode(name);
            ASSERT_GE(decoded.size(), plain.size()) << name << tail.size();
            EXPECT_TRUE(std::equal(plain.begin(), plain.end(), decoded.begin())) << name << tail.size();
            EXPECT_LT(decoded.size(), plain.size() + 2 * 1152); // ffmpeg doubts the note on padding in a longer file
        }
    }
}

// A cut file fails; a damaged place fails a lossless file, and is told of a lossy one.
TEST_F(FfmpegPlugin, DamageIsNeverTakenForAWholeFile)
{
    const struct {
        const char *name, *options;
        double checkedFrom = 2;      // part of the file from which other changes do not pass either
        std::size_t changeBytes = 1; // a changed byte has one wrong bit, more are overwritten
    } cases[] = {
        {"a.m4a", "-c:a alac"},
        {"f.m4a", "-c:a alac -movflags faststart"},
        {"l.m4a", "-c:a aac -movflags faststart"},
        {"a.caf", "-c:a alac"},
        {"p.caf", "-c:a pcm_s16be"},
        {"l.ogg", "-c:a libvorbis -page_duration 20000", 0.25}, // short pages; the first may be anywhere,
        {"l.opus", "-c:a libopus -page_duration 20000", 0.25},
        {"l.mka", "-c:a libopus -cluster_time_limit 100", 0.1, 1000},
        {"a.oga", "-c:a flac", 0},
        {"a.tta", "-c:a tta", 0},
        {"a.wv", "-c:a wavpack", 0},
    };
    std::string faults; // told at the end: nothing is to be printed meanwhile
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    std::mt19937 random(8); // spares the last 8192 frames of l.mka, where a loss passes for padding
    for (const auto& c : cases) {
        encode(c.name, "s16le", 2, 150000, c.options);
        const Bytes good = contents(at(c.name));
        const Samples whole = decode(c.name);
        for (unsigned trial = 0; trial < 60; ++trial) {
            const bool cut = trial < 30;
            Bytes bad(good.data(), good.data() + (cut ? good.size() * trial / 32 : good.size()));
            const std::size_t place = random() % good.size();
            const auto mask = static_cast<std::uint8_t>(c.changeBytes > 1 ? 0x5A : 1u << random() % 8);
            for (std::size_t i = place; !cut && i < std::min(place + c.changeBytes, bad.size()); ++i) bad[i] ^= mask;
            save(at("bad"), bad);
            const auto expect = [&](bool holds, const char* what) {
                if (!holds) faults += std::string(c.name) + " " + std::to_string(trial) + ": " + what + "\n";
            };
            tesk_ext_decoder* decoder = open(at("bad"));
            std::int64_t result = -1;
            const Samples samples = decoder != nullptr ? readAll(decoder, result, format.channels) : Samples();
            const bool told = *plugin.last_error(decoder) != '\0', lossy = c.name[0] == 'l';
            expect(told ? result < 0 || lossy : result >= 0, "text and result disagree");
            expect(!cut || result < 0, "the cut went unnoticed");
            const bool checked = !cut && static_cast<double>(place) >= c.checkedFrom * static_cast<double>(good.size());
            expect(!checked || told || samples == whole, "the change went unnoticed");
            plugin.close(decoder);
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(faults, "");
}

TEST_F(FfmpegPlugin, OnlyTheNamedFileIsOpened)
{
    encode("good.m4a", "s16le", 1, 5000, "-c:a alac");
    const std::string good = at("good.m4a");
    for (const std::string& text :
         {std::string(), std::string("This is no music.\n"), "ffconcat version 1.0\nfile " + good + "\n",
          "#EXTM3U\n#EXT-X-TARGETDURATION:9\n#EXTINF:9,\n" + good + "\n#EXT-X-ENDLIST\n"}) {
        save(at("list"), Bytes(text.begin(), text.end()));
        EXPECT_EQ(open(at("list")), nullptr) << text;
        EXPECT_STRNE(plugin.last_error(nullptr), "");
    }
    for (const std::string& path : {at(""), at("missing.m4a"), std::string(), "concat:" + good, "file:" + good}) {
        EXPECT_EQ(open(path), nullptr) << path;
        EXPECT_STRNE(plugin.last_error(nullptr), "");
    }
    run("ffmpeg -v error -f lavfi -i testsrc=d=0.2:s=64x64 silent.mkv");
    EXPECT_EQ(open(at("silent.mkv")), nullptr);
    EXPECT_STREQ(plugin.last_error(nullptr), "no audio stream");
    std::thread([this] { EXPECT_STREQ(plugin.last_error(nullptr), ""); }).join(); // each thread has its own

    std::filesystem::copy(good, at("http:song.m4a"));
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(at(""));
    tesk_ext_decoder* relative = open("http:song.m4a");
    std::filesystem::current_path(before);
    EXPECT_STREQ(plugin.last_error(nullptr), "");
    plugin.close(relative);
}

TEST_F(FfmpegPlugin, DecodersDoNotDisturbEachOther)
{
    const Noise noise = encode("a.m4a", "s16le", 2, 200000, "-c:a alac");
    run("ffmpeg -v error -i a.m4a -c:a flac b.oga");
    std::vector<std::thread> threads;
    for (const char* name : {"a.m4a", "b.oga", "a.m4a", "b.oga"})
        threads.emplace_back([this, name, &noise] {
            tesk_ext_format own{};
            own.struct_size = sizeof own;
            tesk_ext_decoder* decoder = plugin.open(at(name).c_str(), &own);
            std::int64_t result = -1;
            EXPECT_TRUE(readAll(decoder, result, 2) == noise.truth) << name;
            plugin.close(decoder);
        });
    for (std::thread& thread : threads) thread.join();
}

} // namespace
} // namespace tesk
