// FLAC files as the reference programs, ffmpeg and mutagen read them.
#include "tests/pcm/pcm_fixture.h"

#include "container/pcm/image_facts.h"

namespace tesk {
namespace {

class FlacFile : public PcmFileTest {
protected:
    /// As the reference decoder hears it, which grumbles about streams without length or MD5.
    std::string decoded(const std::string& arguments) const
    {
        return output("flac -dcs --force-raw-format --endian=little --sign=signed " + arguments + " 2>/dev/null");
    }
    void makePictures() const
    {
        output("ffmpeg -v error -f lavfi -i testsrc=s=40x30 -frames:v 1 -pix_fmt rgb24 rgb.png");
        output("ffmpeg -v error -f lavfi -i testsrc=s=50x20 -frames:v 1 -pix_fmt pal8 pal.png");
        output("ffmpeg -v error -f lavfi -i testsrc=s=64x48 -frames:v 1 -pix_fmt yuvj420p x.jpg");
    }
};

// The MD5 of a FLAC file is that of the little-endian samples, so md5sum can tell it.
TEST_F(FlacFile, EveryFormatIsLossless)
{
    for (const std::uint32_t bits : {16u, 24u})
        for (const std::uint32_t channels : {1u, 2u, 5u, 6u, 8u})
            for (const std::size_t frames : {0u, 1u, 10001u}) {
                const PcmFormat f{96000, channels, bits, false, false};
                const std::vector<double> x = makeSound(f, frames);
                SCOPED_TRACE(format("%u bits, %u ch, %zu frames", bits, channels, frames));
                ASSERT_TRUE(make("x.flac", f, x, {frames, {}})) << error;
                EXPECT_EQ(bytes, contents("x.flac").size());
                save("raw", expectedBytes(f, x));
                output("flac -st x.flac 2>&1");
                EXPECT_EQ(output("metaflac --show-md5sum --show-total-samples x.flac"),
                          output("md5sum <raw | cut -c-32; echo " + std::to_string(frames)));
                EXPECT_TRUE(decoded("x.flac") == heard(f, x));
                ASSERT_TRUE(make("pieces.flac", f, x, {frames, {}}, 77));
                EXPECT_TRUE(contents("pieces.flac") == contents("x.flac"));
            }
}

TEST_F(FlacFile, RatesAndWhatIsRefused)
{
    for (const std::uint32_t rate : {8000u, 44100u, 352800u, 384000u, 705600u, 768000u, 1048575u}) {
        const PcmFormat f{rate, 2, 24, false, false};
        ASSERT_TRUE(make("x.flac", f, makeSound(f, 5000), {})) << rate << error;
        output("flac -st x.flac");
        EXPECT_EQ(output("metaflac --show-sample-rate x.flac"), std::to_string(rate) + "\n");
    }
    for (const PcmFormat& bad : {PcmFormat{48000, 2, 32, false, false}, PcmFormat{48000, 2, 32, true, false},
                                 PcmFormat{48000, 9, 16, false, false}, PcmFormat{48000, 0, 16, false, false},
                                 PcmFormat{1411200, 2, 16, false, false}}) {
        const auto writer = makePcmWriter(PcmContainer::flac, report);
        EXPECT_FALSE(writer->open(at("bad.flac"), bad, {}));
        EXPECT_NE(writer->errorText().find("FLAC files"), std::string::npos);
    }
    EXPECT_EQ(output("ls *.flac"), "x.flac\n");
}

// A minute at 8 kHz, announced rightly, as longer than it is, and not at all: six points that lead where they say.
TEST_F(FlacFile, SeekTable)
{
    const PcmFormat f{8000, 1, 16, false, false};
    const std::vector<double> x = makeSound(f, 480000);
    for (const std::uint64_t expected : {std::uint64_t{480000}, std::uint64_t{640001}, std::uint64_t{0}, UINT64_MAX}) {
        ASSERT_TRUE(make("x.flac", f, x, {expected, {}}));
        EXPECT_EQ(output("flac -st x.flac && metaflac --show-total-samples x.flac"), "480000\n");
        const std::string list = output("metaflac --list --block-type=SEEKTABLE x.flac");
        int points = 0;
        for (std::size_t i = 0; (i = list.find("sample_number", i)) != std::string::npos; ++i, ++points) {
            const std::size_t sample = std::stoul(list.substr(i + 14)), wanted = 80000u * static_cast<unsigned>(points);
            EXPECT_LE(sample, wanted);
            EXPECT_LT(wanted - sample, 4608u) << "one block of the encoder";
        }
        EXPECT_EQ(points, 6) << list;
        EXPECT_TRUE(decoded("--skip=400123 x.flac") == heard(f, x).substr(2 * 400123));
    }
}

TEST_F(FlacFile, TagsAndCover)
{
    makePictures();
    const std::pair<std::string, std::string> covers[] = {
        {"rgb.png", "image/png 40 30 24 0"}, {"pal.png", "image/png 50 20 24 256"}, {"x.jpg", "image/jpeg 64 48 24 0"}};
    const PcmFormat f{48000, 2, 16, false, false};
    for (const auto& [name, facts] : covers)
        for (const bool byPath : {true, false}) {
            MetadataRecord m = someTags();
            m.album = "bad \xFF";
            m.coverImage = std::make_shared<Buffer>(contents(byPath ? "rgb.png" : name));
            if (byPath) m.coverPath = at(name);
            ASSERT_TRUE(make("x.flac", f, makeSound(f, 1000), {1000, m}));
            EXPECT_EQ(output("/usr/bin/python3 -c \"import mutagen.flac as f; p,=f.FLAC('x.flac').pictures; "
                             "print(p.mime, p.width, p.height, p.depth, p.colors, p.type, p.data == open('" +
                             name + "','rb').read())\""),
                      facts + " 3 True\n");
            EXPECT_EQ(output("metaflac --no-utf8-convert --export-tags-to=- x.flac"),
                      "TITLE=" + *m.title +
                          "\nARTIST=Artist\nALBUM=bad \uFFFD\nGENRE=Jazz\nDATE=1999-05-01\n"
                          "WORK=Opus 1\nCOMMENT=" +
                          *m.comment + "\nTRACKNUMBER=7\nENCODER=" + kEncoderText + "\n");
            EXPECT_EQ(output("metaflac --list --block-type=PADDING x.flac | grep length"), "  length: 8192\n");
            expectFacts("x.flac", {"TAG:TITLE=" + *m.title, "TAG:track=7", "attached_pic=1"});
            output("flac -st x.flac");
        }
    EXPECT_EQ(report.text, "");
}

TEST_F(FlacFile, CoversThatCannotBeAreLeftOutWithAWord)
{
    Buffer large(kLargestCover, 0); // fits the limit, but no block
    large[0] = large[2] = 0xFF;
    large[1] = 0xD8;
    const PcmFormat f{48000, 2, 16, false, false};
    for (const Buffer& image : {large, Buffer{'G', 'I', 'F', '8'}}) {
        report.text.clear();
        MetadataRecord m;
        m.coverImage = std::make_shared<Buffer>(image);
        ASSERT_TRUE(make("x.flac", f, makeSound(f, 10), {10, m}));
        EXPECT_EQ(output("flac -st x.flac; metaflac --list --block-type=PICTURE x.flac"), "");
        EXPECT_NE(report.text.find("no picture"), std::string::npos);
    }
}

// Every prefix, and lengths that lead astray: it ends, within the bytes (the sanitizer looks), with a known kind.
TEST_F(FlacFile, DamagedCovers)
{
    makePictures();
    for (const char* name : {"pal.png", "x.jpg"}) {
        const Buffer whole = contents(name);
        for (std::size_t n = 0; n < std::min<std::size_t>(whole.size(), 1200); ++n) {
            const auto facts = imageFacts(Buffer(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n)));
            EXPECT_EQ(facts.has_value(), n >= (name[0] == 'p' ? 8u : 3u)) << n;
            Buffer wrong = whole;
            wrong[n] ^= 0xFF;
            imageFacts(wrong);
        }
    }
}

} // namespace
} // namespace tesk
