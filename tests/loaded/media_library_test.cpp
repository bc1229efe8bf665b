// The media library: what the loader refuses, and what the reader makes of files that media_stub.c plays.
#include "tests/loaded/fake_libraries.h"

#include "input/loaded/loaded_libraries.h"
#include "input/loaded/media_library.h"
#include "input/loaded/media_library_reader.h"

namespace tesk {
namespace {

constexpr std::size_t kPacketFrames = 1000;

/// The stub's samples, computed here once more: frames `begin` up to `end`.
Noise stubNoise(int sampleFormat, std::uint32_t channels, std::size_t begin, std::size_t end)
{
    const int kind = sampleFormat % 5; // 1 and 6, 2 and 7, 3 and 8 differ in layout only
    return noiseOf(channels, begin, end, [kind](std::uint64_t frame, std::uint32_t channel) {
        const std::uint32_t bits = static_cast<std::uint32_t>(frame) * 2654435761u + channel * 2246822519u;
        const double exact = std::ldexp(static_cast<double>(static_cast<std::int32_t>(bits)), -31);
        if (kind == 1) return std::floor(exact * 32768) / 32768;
        return kind == 2 ? exact : static_cast<double>(static_cast<float>(exact));
    });
}

class MediaLibrary : public LoadTest {
protected:
    MediaLibrary() { EXPECT_TRUE(openMediaLibrary(fake("whole"), api, error)) << error; }

    PDM_ENCODING_STATUS load(const std::string& name, FrameRange range = {})
    {
        return loadFrom(MediaLibraryReader(api, report), "/nowhere/" + name, range);
    }

    MediaLibraryApi api{};
};

TEST_F(MediaLibrary, RefusesWhatIsNoLibraryOfTheGeneration)
{
    const std::string sibling = " (this looks like libavcodec/libavutil -- pick libavformat, which exports "
                                "avformat_open_input; or use a TESK decoder plugin)";
    const std::string tooNew = " (this ffmpeg is too new -- the player uses the 3.x API; pick an ffmpeg 3.x "
                               "libavformat, or use a TESK decoder plugin)";
    const std::pair<std::string, std::string> refusals[] = {
        {fake("version_58"), tooNew},
        {fake("version_56"), ": not a usable raw ffmpeg: libavformat 56, not 57"},
        {fake("without_avformat_open_input"), sibling},
        {fake("without_avcodec_decode_audio4"), tooNew},
        {fake("without_av_log_set_level"), ": not a usable raw ffmpeg: missing symbol 'av_log_set_level'"},
    };
    for (const auto& [path, why] : refusals) {
        EXPECT_FALSE(openMediaLibrary(path, api, error));
        EXPECT_EQ(error, "cannot use '" + path + "'" + why);
        EXPECT_FALSE(isLoaded(path)) << path;
    }
    // The system's own, two generations later. Held loaded: what they allocate while loading has no owner afterwards.
    for (const auto& [name, why] : {std::pair{"libavformat", tooNew}, std::pair{"libavcodec", sibling}}) {
        const std::string path = std::string("/usr/lib/x86_64-linux-gnu/") + name + ".so.59";
        if (!dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) continue;
        EXPECT_FALSE(openMediaLibrary(path, api, error));
        EXPECT_EQ(error, "cannot use '" + path + "'" + why);
    }
    for (const std::string& path : {fake("missing"), std::string(__FILE__), kFakes}) {
        EXPECT_FALSE(openMediaLibrary(path, api, error));
        EXPECT_EQ(error.rfind("cannot load '" + path + "': dlopen failed (", 0), 0u) << error;
    }
    EXPECT_TRUE(openMediaLibrary(fake("versionless"), api, error)) << error;
}

TEST_F(MediaLibrary, SiblingsAreLoadedFromTheSameFolder)
{
    const std::string name = "libavformat.so.57", whole = kFakes + "family/" + name;
    if (!isLoaded("libavcodec.so.57")) { // not so when the test is repeated
        std::filesystem::copy_file(whole, at(name));
        EXPECT_FALSE(openMediaLibrary(at(name), api, error));
        EXPECT_NE(error.find("libavcodec.so.57"), std::string::npos) << error;
    }
    ASSERT_TRUE(openMediaLibrary(whole, api, error)) << error;
    EXPECT_EQ(load("x"), DSD_SUCCESS) << error;
    expectTruth(stubNoise(6, 2, 0, 5 * kPacketFrames));
}

TEST_F(MediaLibrary, TheProcessKeepsTheFirstOne)
{
    delete loadedLibraries().mediaLibrary.exchange(nullptr); // where the tests are repeated
    EXPECT_EQ(loadMediaLibrary(fake("version_58"), report, error), nullptr);
    EXPECT_EQ(report.text, "");
    const auto got = fromFourThreads([this] {
        std::string why;
        return loadMediaLibrary(fake("whole"), report, why);
    });
    ASSERT_NE(got[0], nullptr);
    EXPECT_EQ(std::count(got.begin(), got.end(), got[0]), 4);
    EXPECT_EQ(report.text, "Media library:      \t" + fake("whole") +
                               ": raw ffmpeg (3.x-era slice; audio decoders provided by the library itself)\n");
    report.text.clear();
    EXPECT_EQ(loadMediaLibrary(kFakes + "./whole.so", report, error), got[0]);
    EXPECT_EQ(report.text, "");
    for (const std::string& path : {fake("version_56"), fake("missing")}) {
        report.text.clear();
        EXPECT_EQ(loadMediaLibrary(path, report, error), got[0]);
        EXPECT_EQ(report.text,
                  "Warning             \tthe media library '" + path + "' takes effect after restarting the player\n");
    }
}

TEST_F(MediaLibrary, EveryFormatInEveryWayOfDelivery)
{
    for (const int number : {1, 2, 3, 6, 7, 8})
        for (const std::uint32_t channels : {1u, 2u, 11u})
            for (const char* way : {"", "zero=1", "parts=1", "delay=1", "other=1", "again=1", "line=0", "late=1"}) {
                const std::string name = format("fmt=%d,channels=%u,%s,x.ape", number, channels, way);
                SCOPED_TRACE(name);
                ASSERT_EQ(load(name), DSD_SUCCESS) << error;
                expectTruth(stubNoise(number, channels, 0, 5 * kPacketFrames));
                EXPECT_EQ(recording.info.sampleRate, 44100u);
                EXPECT_EQ(recording.info.isFloat, number % 5 == 3);
                EXPECT_EQ(report.text, "");
            }
    // Between planar and interleaved, 16 and 32 bits, the format may change; a chunk of the load may end in a frame.
    ASSERT_EQ(load("fmt=2,packets=150,fmtat=70,fmtto=7"), DSD_SUCCESS) << error;
    expectTruth(stubNoise(2, 2, 0, 150 * kPacketFrames));
    ASSERT_EQ(load("fmt=8,nan=2500"), DSD_SUCCESS) << error;
    EXPECT_EQ(recording.signal.channel(0)[2500], 0.0);
    EXPECT_TRUE(reported("1 samples are not finite"));
}

TEST_F(MediaLibrary, Description)
{
    struct Case {
        const char *name, *format;
        int bits;
        std::optional<std::uint64_t> declared;
    };
    const Case cases[] = {
        {"id=0x15010,fmt=7,raw=24,duration=5000", "ALAC", 24, 5000},
        {"id=0x15010,fmt=6,raw=20,duration=5001", "ALAC", 16, 5001}, // more raw bits than the format has
        {"id=0x15021,fmt=7,raw=-3", "Monkey's Audio", 24, {}},
        {"id=0x10008,fmt=2,raw=32,rate=192000,num=3,den=1000,duration=10", "PCM", 32, 10 * 576 + 575}, // rounded up
        {"id=0x10015,fmt=3", "PCM", 32, {}},
        {"id=0x15002,fmt=8,duration=-7", "AAC", 24, {}},
        {"id=0x17777,fmt=6,num=2147483647,den=1,duration=9223372036854775806", "media library", 16, {}},
    };
    for (const Case& c : cases) {
        ASSERT_EQ(load(c.name), DSD_SUCCESS) << c.name << ": " << error;
        EXPECT_EQ(recording.info.format, c.format);
        EXPECT_EQ(recording.info.bitsPerSample, c.bits) << c.name;
        EXPECT_EQ(recording.info.declaredFrames, c.declared) << c.name;
        EXPECT_EQ(report.text, "");
    }
    // A cut lossless file says so; a lossy header only guesses.
    ASSERT_EQ(load("duration=14000"), DSD_SUCCESS);
    EXPECT_TRUE(reported("the header declares 14000 frames, the file holds 5000; the latter are used\n"));
    ASSERT_EQ(load("id=0x15002,duration=14000"), DSD_SUCCESS);
    EXPECT_EQ(report.text, "");
}

TEST_F(MediaLibrary, WhatFailsSaysAtWhichStep)
{
    const std::string params = "sanity gate failed: implausible audio params (layout mismatch?)";
    const std::string streams = "sanity gate failed: implausible stream count (layout mismatch?)";
    const std::string formats = " (this build converts s16/s32/float only)";
    const auto lost = [](unsigned packets) { return format("%u packets could not be decoded", packets); };
    std::vector<std::pair<std::string, std::string>> cases = {
        {"open=-2", "open_input: stub error -2"},
        {"byname=1,x.wav", "open_input: stub error -2"},
        {"info=-1094995529", "find_stream_info: stub error -1094995529"},
        {"open2=-22", "codec_open2: stub error -22"},
        {"silent=1", "no audio stream"},
        {"id=0x15032",
         "no decoder for this stream (codec id 0x15032 has no decoder in the library; a 3.x-era ffmpeg or "
         "a TESK decoder plugin is required)"},
        {"rate=1056964608,id=0x15032", params}, // as a 4.x library looks: the gate comes before the decoder
        {"fmt=5", "unsupported sample format 5" + formats},
        {"fmt=0", "unsupported sample format 0" + formats},
        {"fmt=9", "unsupported sample format 9" + formats},
        {"late=1,fmt=4", "unsupported sample format 4" + formats},
        {"fmtat=2,fmtto=5", "unsupported sample format 5" + formats},
        {"channelsat=2", "the recording changes from 2 channels at 44100 Hz to 1 at 44100 Hz"},
        {"rateat=2", "the recording changes from 2 channels at 44100 Hz to 2 at 22050 Hz"},
        {"packets=0", "no samples in the audio stream"},
        {"readend=-5", "read_frame: stub error -5"},
        {"duration=1099511627776", "the signal buffer does not fit in memory"},
        // A damaged recording never passes as a whole one, wherever the damage is.
        {"bad=0", lost(1)},
        {"bad=3,corrupt=1", lost(2)},
        {"corrupt=4", lost(1)},
        {"stuck=2", lost(1)},
        {"zero=1,bad=4", lost(1)},
        {"drain=-22", lost(1)},
        {"badfrom=1", lost(4)},
        {"badfrom=0,packets=200", lost(64) + "; the rest was not tried"},
    };
    for (const char* odd : {"streams=0", "streams=1056964608", "null=1", "null=2", "null=4"})
        cases.emplace_back(odd, streams);
    for (const char* odd :
         {"channels=0", "channels=65", "rate=999", "rate=1536001", "fmt=12", "fmt=-2", "late=1,fmt=31", "num=0",
          "den=0", "den=-1", "null=3", "null=5", "null=6", "null=7", "line=1999", "channels2=0,packets=0"})
        cases.emplace_back(odd, params);
    for (const auto& [name, why] : cases) {
        expectRefused(load(name), why);
        EXPECT_EQ(error, why) << name;
    }
    EXPECT_EQ(load("byname=1,x.MAC"), DSD_SUCCESS) << error;
    EXPECT_EQ(load("bad=3", {0, 3500}), DSD_ERROR_INPUT); // the range ends before the file
}

TEST_F(MediaLibrary, RangesAreTheSameFrames)
{
    for (const char* way : {"", "zero=1", "delay=1", "other=1", "start=-2112", "seek=-1", "seek=1", "timeless=1",
                            "id=0x15002", "den=600", "num=1000", "id=0x15010,num=300"})
        for (const FrameRange range : {FrameRange{1, 5}, {1000, 2000}, {3999, 4001}, {4500, 9000}, {6000, 7000}}) {
            const std::string name = format("packets=6,%s", way);
            SCOPED_TRACE(name + format(" from %d", static_cast<int>(range.begin)));
            ASSERT_EQ(load(name, range), DSD_SUCCESS) << error;
            const std::size_t end = std::min<std::size_t>(range.end, 6 * kPacketFrames);
            expectTruth(stubNoise(6, 2, std::min<std::size_t>(range.begin, end), end));
        }
    // Back and forth in one reader, and after the end. Monkey's Audio counts in units of many frames.
    for (const char* name : {"/nowhere/packets=6,id=0x15010,start=77", "/nowhere/packets=6,num=500"}) {
        MediaLibraryReader reader(api, report);
        ASSERT_TRUE(reader.open(name).ok());
        for (const std::size_t begin : {5999u, 1500u, 0u, 4000u, 3999u}) {
            ASSERT_TRUE(reader.seek(begin).ok()) << begin;
            EXPECT_EQ(readOn(reader, 8000), stubNoise(6, 2, begin, 6 * kPacketFrames).truth);
        }
        EXPECT_EQ(reader.seek(6001).status(), DSD_ERROR_UNSUPPORTED);
        EXPECT_TRUE(readOn(reader, 8000).empty()); // still at the end
    }
}

TEST_F(MediaLibrary, ManyFilesAtOnce)
{
    const auto failures = fromFourThreads([this] {
        CollectingReporter own;
        int failed = 0;
        for (int i = 0; i < 10; ++i) failed += !MediaLibraryReader(api, own).open("/nowhere/x").ok();
        return failed;
    });
    EXPECT_EQ(failures, std::vector<int>(4, 0));
}

TEST_F(MediaLibrary, TracesWhenAsked)
{
    {
        const Variable on("TESK_RAWFF_TRACE", "1");
        // A name that the library would read as a protocol's is told to be a file.
        EXPECT_EQ(loadFrom(MediaLibraryReader(api, report), "a:b"), DSD_SUCCESS);
        EXPECT_TRUE(reported("avformat_open_input('./a:b') = 0\n")) << report.text;
        EXPECT_EQ(load("rate=96000"), DSD_SUCCESS);
        for (const char* line :
             {"avformat_open_input('/nowhere/rate=96000') = 0\n", "codec id 0x15021, decoder found\n",
              "first frame: 2 channels, 96000 Hz, sample format 6, 1000 frames\n"})
            EXPECT_TRUE(reported(line)) << line << "not in\n" << report.text;
        load("open2=-22");
        EXPECT_TRUE(reported("TRACE rawff: avcodec_open2 = -22\n")) << report.text;
    }
    load("open2=-22");
    EXPECT_EQ(report.text, "");
}

} // namespace
} // namespace tesk
