// RIFF, RF64 and Wave64 as other programs read them, and what every writer leaves behind when the disk is full.
#include "tests/pcm/pcm_fixture.h"

#include "container/pcm/flac_writer.h"
#include "container/pcm/pcm_samples.h"
#include "container/pcm/wave_layout.h"
#include "input/wave_reader.h"

#include <csignal>
#include <sys/resource.h>

namespace tesk {
namespace {

TEST(PcmSamples, RoundsLikeTheLibraryToTheLastBit)
{
    std::mt19937_64 random(1);
    for (const unsigned bits : {2u, 16u, 24u, 32u}) {
        const double scale = std::ldexp(1.0, static_cast<int>(bits) - 1) - 1;
        std::vector<double> x = {0.0, -0.0, 1e-300, INFINITY, -INFINITY, 1.0, -1.0, std::nextafter(1.0, 0.0)};
        for (int i = 0; i < 500000; ++i) { // around ties, where an added half would go astray; and anywhere
            const double tie = (static_cast<double>(random() >> 32) / 4294967296.0 * 2 - 1) * scale;
            for (const double near : {std::floor(tie) + 0.5, 0.5, -0.5, tie}) {
                const double v = near / scale;
                x.insert(x.end(), {v, std::nextafter(v, 2.0), std::nextafter(v, -2.0)});
            }
        }
        std::vector<std::int32_t> y(x.size());
        quantizeSamples(x.data(), x.size(), bits, y.data());
        for (std::size_t i = 0; i < x.size(); ++i)
            ASSERT_EQ(y[i], std::llround(std::clamp(x[i], -1.0, 1.0) * scale)) << bits << " bits, " << x[i];
    }
    const double some[] = {-1.0, 1.5, std::nan("")};
    std::vector<std::int32_t> numbers(3);
    quantizeSamples(some, 3, 16, numbers.data());
    EXPECT_EQ(numbers, (std::vector<std::int32_t>{-32767, 32767, 0}));
}

std::uint64_t littleEndian(const Buffer& file, std::size_t at, int width)
{
    std::uint64_t value = 0;
    for (int i = width; i-- > 0;) value = value << 8 | file.at(at + static_cast<std::size_t>(i));
    return value;
}

/// The chunks from the outside in; every size has to lead exactly to the next chunk and the last to the end.
std::string chunks(const Buffer& file, Buffer& sound)
{
    const bool wide = letters(file, 0, 4) == "riff", rf64 = letters(file, 0, 4) == "RF64";
    const std::size_t head = wide ? 24 : 8;
    const std::size_t outer = rf64 ? 20 : wide ? 16 : 4; // RF64: in the ds64 chunk
    EXPECT_EQ(littleEndian(file, outer, rf64 || wide ? 8 : 4), file.size() - (wide ? 0 : 8));
    std::string found = letters(file, 0, 4) + " ";
    std::size_t at = wide ? 40 : 12;
    while (at + head <= file.size()) {
        const std::string id = letters(file, at, 4);
        std::uint64_t size = littleEndian(file, at + (wide ? 16 : 4), wide ? 8 : 4) - (wide ? 24 : 0);
        if (rf64 && id == "data") size = littleEndian(file, 28, 8);
        if (size > file.size() - at - head) return found + "beyond the end";
        found += (id[0] > 0 ? id : "summary") + " ";
        const auto begin = file.begin() + static_cast<std::ptrdiff_t>(at + head);
        if (id == "data") sound.assign(begin, begin + static_cast<std::ptrdiff_t>(size));
        at += head + size + (wide ? id == "data" ? 0 : (8 - size % 8) % 8 : size % 2);
    }
    EXPECT_EQ(at, file.size());
    return found;
}

class WaveFile : public PcmFileTest {};

// 333 frames: an odd number of bytes at 24 bits mono, and no multiple of eight for Wave64.
TEST_F(WaveFile, EveryFormatReadsBackExactly)
{
    for (const std::uint32_t kind : {16u, 24u, 32u, 1032u, 1064u})
        for (const bool wide : {false, true})
            for (const std::uint32_t channels : {1u, 2u, 5u, 6u}) {
                const PcmFormat f{48000, channels, kind % 1000, kind > 1000, wide};
                const std::vector<double> x = makeSound(f, 333);
                SCOPED_TRACE(format("%u bits, float %d, wave64 %d, %u ch", f.bitsPerSample, f.isFloat, wide, channels));
                const std::string name = wide ? "x.w64" : "x.wav";
                ASSERT_TRUE(make(name, f, x, {333, {}})) << error;
                const Buffer file = contents(name);
                Buffer sound;
                const std::string fact = f.isFloat ? "fact " : "";
                EXPECT_EQ(chunks(file, sound), (wide ? "riff fmt " : "RIFF fmt ") + (" " + fact) + "data ");
                EXPECT_TRUE(sound == expectedBytes(f, x));
                EXPECT_EQ(bytes, file.size());
                EXPECT_EQ(littleEndian(file, wide ? 64 : 20, 2), f.isFloat ? 3u : 1u);
                for (const std::size_t piece : {1u, 100u}) {
                    ASSERT_TRUE(make("pieces", f, x, {333, {}}, piece));
                    EXPECT_TRUE(contents("pieces") == file);
                }
                const std::string raw = format("%c%ule", f.isFloat ? 'f' : 's', f.bitsPerSample);
                EXPECT_TRUE(output("ffmpeg -v error -i " + name + " -f " + raw + " -") == heard(f, x));
                EXPECT_TRUE(f.isFloat || output("sox -D " + name + " -t raw -e signed -") == heard(f, x));
            }
}

TEST_F(WaveFile, EmptyAndOfUnknownLength)
{
    for (const bool wide : {false, true})
        for (const std::size_t frames : {0u, 1u, 100001u}) {
            const PcmFormat f{44100, 1, 24, false, wide};
            const std::vector<double> x = makeSound(f, frames);
            ASSERT_TRUE(make("x.wav", f, x, {0, someTags()})) << error;
            Buffer sound;
            EXPECT_EQ(chunks(contents("x.wav"), sound),
                      wide ? "riff fmt  summary data " : "RIFF JUNK fmt  data LIST id3  ");
            EXPECT_TRUE(sound == expectedBytes(f, x)) << frames;
        }
}

TEST_F(WaveFile, Tags)
{
    output("ffmpeg -v error -f lavfi -i color=red:s=40x30 -frames:v 1 cover.png");
    MetadataRecord m = someTags();
    m.coverPath = at("cover.png");
    const PcmFormat f{44100, 1, 24, false, false}, wide{44100, 1, 24, false, true};
    ASSERT_TRUE(make("x.wav", f, makeSound(f, 333), {333, m}));
    ASSERT_TRUE(make("x.w64", wide, makeSound(wide, 333), {333, m}));
    Buffer sound;
    EXPECT_EQ(chunks(contents("x.wav"), sound), "RIFF fmt  data LIST id3  ");
    const std::vector<std::string> facts = {"TAG:title=" + *m.title, "TAG:artist=Artist", "TAG:album=Album",
                                            "TAG:genre=Jazz",        "TAG:date=1999",     "TAG:comment=" + *m.comment,
                                            "TAG:track=7",           kEncoderText};
    expectFacts("x.wav", facts);
    expectFacts("x.w64", facts);
    expectFacts("x.wav", {"codec_name=png", "width=40"});
    const std::string file = output("cat x.wav");
    EXPECT_NE(file.find(std::string("IART\7\0\0\0Artist\0\0IPRD\6\0\0\0Album\0IGNR", 34)), std::string::npos);
    // 1 + 3 + 1 bytes in front of 201: 206 = 1 * 128 + 78, seven bits at a time. Readers forgive the other form.
    EXPECT_NE(file.find(std::string("COMM\0\0\1\x4E\0\0\3eng", 14)), std::string::npos);
    const std::string seen = output("/usr/bin/python3 -c \"import mutagen.wave as w; t=w.WAVE('x.wav').tags; "
                                    "p=t.getall('APIC')[0]; print(t['TIT2'], t['TRCK'], t.getall('COMM')[0], "
                                    "p.mime, int(p.type), p.data == open('cover.png','rb').read())\"");
    EXPECT_EQ(seen, *m.title + " 7 " + *m.comment + " image/png 3 True\n");
}

TEST_F(WaveFile, AnnouncedAsTooLongForRiffItIsRf64)
{
    const PcmFormat f{48000, 2, 32, true, false};
    ASSERT_TRUE(make("x.wav", f, makeSound(f, 5000), {std::uint64_t{1} << 32, someTags()}));
    EXPECT_NE(report.text.find("RF64"), std::string::npos);
    Buffer sound;
    EXPECT_EQ(chunks(contents("x.wav"), sound), "RF64 ds64 fmt  fact data LIST id3  ");
    EXPECT_TRUE(sound == expectedBytes(f, makeSound(f, 5000)));
    EXPECT_EQ(output("ffmpeg -v error -i x.wav -f f32le -"), letters(sound, 0, sound.size()));
}

// The head of a file that grew past 4 GiB, in front of a hole instead of sound.
TEST_F(WaveFile, PastFourGibibytes)
{
    const std::uint64_t frames = 800000000;
    for (const WaveForm form : {WaveForm::riffOrRf64, WaveForm::rf64, WaveForm::wave64}) {
        const WaveLayout layout{{48000, 2, 24, false, form == WaveForm::wave64}, form, {}, false};
        const Buffer head = waveHead(layout, frames);
        ASSERT_EQ(head.size(), waveHead(layout, 0).size());
        save("x.wav", head);
        std::filesystem::resize_file(at("x.wav"), head.size() + frames * 6);
        expectFacts("x.wav", {"duration=16666.666667", "nb_streams=1"});
        WaveReader reader;
        ASSERT_TRUE(reader.open(at("x.wav")));
        EXPECT_EQ(reader.info().declaredFrames, frames);
    }
    // The border itself: 44 bytes of head and two-byte frames.
    const WaveLayout edge{{48000, 1, 16, false, false}, WaveForm::riff, {}, false};
    EXPECT_FALSE(passesRiff(edge, 0x7FFFFFFF - 22));
    EXPECT_TRUE(passesRiff(edge, 0x7FFFFFFF - 21));
}

// Nothing can be mended; a wrong length may not cost a sample, and no tag may be heard.
TEST_F(WaveFile, ThroughAPipe)
{
    std::vector<std::string> names = endings();
    names.push_back(".w64");
    for (const std::string& name : names)
        for (const std::uint64_t expected : {0u, 20000u}) {
            const PcmFormat f{48000, 2, 16, false, name == ".w64"};
            const std::vector<double> x = makeSound(f, 20000);
            output("rm -f *.*; mkfifo p" + name + "; { cat p" + name + " >copy; touch all.copied; } >/dev/null 2>&1 &");
            ASSERT_TRUE(make("p" + name, f, x, {expected, someTags()})) << error;
            output("while ! test -e all.copied; do sleep 0.01; done");
            EXPECT_TRUE(output("cat copy | ffmpeg -v fatal -i - -f s16le -") == heard(f, x)) << name << expected;
            EXPECT_NE(output("ffprobe -v error -show_format -show_streams copy 2>&1").find("Artist"),
                      std::string::npos);
        }
}

class PcmTrouble : public PcmFileTest {
protected:
    const PcmFormat wave{48000, 2, 24, false, false};
};

TEST_F(PcmTrouble, WhatCannotBeWrittenSaysWhy)
{
    const std::vector<double> x = makeSound(wave, 100);
    for (const PcmFormat& bad : {PcmFormat{48000, 2, 8, false, false}, PcmFormat{48000, 2, 64, false, false},
                                 PcmFormat{48000, 2, 16, true, false}, PcmFormat{0, 2, 16, false, false},
                                 PcmFormat{48000, 40000, 16, false, false}}) {
        EXPECT_FALSE(make("x.wav", bad, {}, {}));
        EXPECT_NE(error.find("WAV file"), std::string::npos) << error;
    }
    for (const std::string& ending : endings()) {
        EXPECT_FALSE(make("none/x" + ending, wave, x, {}));
        EXPECT_NE(error.find("does not exist"), std::string::npos) << error;
        std::filesystem::create_symlink("/dev/full", at("full" + ending));
        EXPECT_FALSE(make("full" + ending, wave, x, {}));
        EXPECT_NE(error.find("No space left on device"), std::string::npos) << error;
        auto writer = makePcmWriter(ending == ".wav" ? PcmContainer::wave : PcmContainer::flac, report);
        EXPECT_FALSE(writer->write(x.data(), 100)) << "nothing is open";
        EXPECT_TRUE(writer->close());
        ASSERT_TRUE(writer->open(at("closed" + ending), wave, {}));
        ASSERT_TRUE(writer->open(at("dropped"), wave, {})) << "closes the first";
        ASSERT_TRUE(writer->write(x.data(), 100));
        writer.reset();
        output("rm closed" + ending + " full" + ending);
    }
    EXPECT_EQ(output("ls -A"), "messages\nout\n");
}

// The longest file that the process may write stands for a full disk, and moves through the file.
TEST_F(PcmTrouble, ADiskThatIsFullAtAnyByteLeavesWhatStoodThere)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    for (const std::string& ending : endings())
        for (const std::size_t frames : {50u, 150000u}) {
            const std::string name = "x" + ending;
            const std::vector<double> x = makeSound(wave, frames);
            ASSERT_TRUE(make(name, wave, x, {frames, someTags()}));
            const std::uint64_t size = std::filesystem::file_size(at(name));
            std::ofstream(at(name)) << "old";
            for (std::uint64_t limit = 0; limit < size; limit += frames == 50 ? 37 : 70001) {
                const rlimit full{limit, before.rlim_max};
                setrlimit(RLIMIT_FSIZE, &full);
                const bool made = make(name, wave, x, {frames, someTags()}, 10000);
                setrlimit(RLIMIT_FSIZE, &before);
                EXPECT_FALSE(made) << limit;
                EXPECT_NE(error.find("File too large"), std::string::npos) << error;
            }
            EXPECT_EQ(output("cat x.*; rm x.*; ls -A"), "oldmessages\nout\n");
        }
    std::signal(SIGXFSZ, SIG_DFL);
}

TEST(AbsentFlac, RefusesWithItsText)
{
    AbsentFlacWriter writer;
    EXPECT_TRUE(writer.close());
    EXPECT_FALSE(writer.open("x.flac", {48000, 2, 16, false, false}, {}));
    EXPECT_EQ(writer.errorText(), "FLAC support not built (MinGW)");
    EXPECT_FALSE(writer.write(nullptr, 0) || writer.close() || std::filesystem::exists("x.flac"));
    EXPECT_EQ(writer.bytesWritten(), 0u);
}

} // namespace
} // namespace tesk
