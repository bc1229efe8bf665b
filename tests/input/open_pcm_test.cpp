// The choice of the decoder, and what the user is told.
#include "tests/input/load_fixture.h"

#include "input/trace_path.h"

#include <sys/resource.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TESK_SANITIZED 1
#elif defined(__has_feature)
#define TESK_SANITIZED (__has_feature(address_sanitizer) || __has_feature(thread_sanitizer))
#else
#define TESK_SANITIZED 0
#endif

namespace tesk {
namespace {

constexpr bool kSanitized = TESK_SANITIZED;

/// Sets a variable of the environment while it lives.
class Variable {
public:
    Variable(const char* name, const char* value) : name_(name) { setenv(name, value, 1); }
    ~Variable() { unsetenv(name_); }

private:
    const char* name_;
};

class OpenPcm : public LoadTest {
protected:
    OpenPcm()
    {
        save(at("raw"), noise.raw);
        run("ffmpeg -v error -f s16le -ar 44100 -ac 2 -i raw a.wav && flac -s a.wav");
        wav = contents(at("a.wav"));
        flac = contents(at("a.flac"));
    }
    PDM_ENCODING_STATUS openAs(const std::string& name, const Bytes& bytes)
    {
        save(at(name), bytes);
        return open(name);
    }

    const Noise noise = makeNoise("s16le", 2, 200000);
    Bytes wav, flac;
};

TEST_F(OpenPcm, TheExtensionChooses)
{
    for (const char* name : {"x.wav", "X.WaVe", "x.w64", "x.aiff", "x.aif", "x.aifc"}) {
        EXPECT_EQ(openAs(name, wav), DSD_SUCCESS) << name << error;
        EXPECT_EQ(openAs(name, flac), DSD_ERROR_INPUT);
        EXPECT_NE(error.find("looks like FLAC"), std::string::npos) << error;
        expectEmpty();
    }
    for (const char* name : {"Song.FLAC", "x.fla"}) {
        EXPECT_EQ(openAs(name, flac), DSD_SUCCESS) << name << error;
        expectTruth(noise);
        EXPECT_EQ(openAs(name, wav), DSD_ERROR_INPUT);
        EXPECT_NE(error.find("looks like WAV"), std::string::npos) << error;
    }
    for (const char* name : {"song", "song.xyz", "song.flac.bak"})
        for (const Bytes* file : {&wav, &flac}) {
            ASSERT_EQ(openAs(name, *file), DSD_SUCCESS) << name << error;
            expectTruth(noise);
        }
    for (const char* name : {"x.tta", "x.wv", "x.WVC"}) {
        EXPECT_EQ(openAs(name, wav), DSD_ERROR_INPUT) << name;
        EXPECT_NE(error.find("looks like WAV"), std::string::npos) << error;
        expectEmpty();
    }
}

/// Stands for a decoder of run time: 3000 frames of a ramp for every file, in pieces of odd length.
class RampReader final : public PcmReader {
public:
    Status open(const std::string&) override
    {
        info_.format = "ramp";
        info_.channels = 2;
        info_.sampleRate = 44100;
        info_.bitsPerSample = 24;
        info_.declaredFrames = 2900;
        info_.lengthIsHint = true;
        return {};
    }
    Result<std::size_t, PDM_ENCODING_STATUS> read(double* const* planar, std::size_t frames) override
    {
        std::size_t done = 0;
        for (; done < std::min<std::size_t>(frames, 777) && at_ < 3000; ++done, ++at_)
            for (int c = 0; c < 2; ++c) planar[c][done] = (c == 0 ? 1.0 : -1.0) * static_cast<double>(at_) / 4096;
        return done;
    }

private:
    std::size_t at_ = 0;
};

TEST_F(OpenPcm, TheStreamLoaderReadsItsExtensionsAndWhatNobodyElseReads)
{
    const StreamLoader ramp = [](const std::string& path, std::string&) -> std::unique_ptr<PcmReader> {
        auto reader = std::make_unique<RampReader>();
        (void)reader->open(path).ok();
        return reader;
    };
    const StreamLoader none = [](const std::string&, std::string& why) -> std::unique_ptr<PcmReader> {
        why = "no such decoder";
        return nullptr;
    };
    for (const char* name : {"x.m4a", "x.ALAC", "x.mp4", "x.caf", "x.ape", "x.mac"}) {
        save(at(name), wav); // never read as what it is
        EXPECT_EQ(open_pcm(at(name), {report, stop, memory, none}, recording, error).status(), DSD_ERROR_INPUT);
        EXPECT_EQ(error, "no such decoder");
        expectEmpty();
        ASSERT_TRUE(open_pcm(at(name), {report, stop, memory, ramp}, recording, error)) << name;
        EXPECT_EQ(recording.signal.frames(), 3000u);
    }
    EXPECT_EQ(report.text, "") << "a hint that is wrong is no fault";
    save(at("x"), noise.raw);
    EXPECT_TRUE(open_pcm(at("x"), {report, stop, memory, ramp}, recording, error));
    EXPECT_FALSE(open_pcm(at("x"), {report, stop, memory, none}, recording, error));
    EXPECT_EQ(error, "cannot open or decode the source (unsupported container or damaged file)\n  no such decoder");
    save(at("y"), wav);
    EXPECT_TRUE(open_pcm(at("y"), {report, stop, memory, none}, recording, error));
}

// A piece is what the whole recording holds there, whether the reader can seek or not.
TEST_F(OpenPcm, Ranges)
{
    const LoadContext context{report, stop, memory, [](const std::string& path, std::string&) {
                                  auto reader = std::make_unique<RampReader>();
                                  (void)reader->open(path).ok();
                                  return std::unique_ptr<PcmReader>(std::move(reader));
                              }};
    save(at("x.m4a"), noise.raw);
    for (const char* name : {"a.wav", "a.flac", "x.m4a"}) {
        PcmRecording whole;
        ASSERT_TRUE(open_pcm(at(name), context, whole, error)) << error;
        const std::uint64_t total = whole.signal.frames();
        PcmLength length;
        ASSERT_TRUE(measurePcm(at(name), context, length, error));
        EXPECT_EQ(length.frames, total);
        for (const FrameRange range : {FrameRange{0, 1}, FrameRange{1, 2999}, FrameRange{1000, total},
                                       FrameRange{777, FrameRange::kToTheEnd}, FrameRange{total, total + 5}}) {
            ASSERT_TRUE(open_pcm(at(name), context, recording, error, range)) << error;
            const std::uint64_t end = std::min(range.end, total);
            ASSERT_EQ(recording.signal.frames(), end - range.begin);
            for (std::uint32_t c = 0; c < 2; ++c)
                EXPECT_TRUE(std::equal(recording.signal.channel(c), recording.signal.channel(c) + end - range.begin,
                                       whole.signal.channel(c) + range.begin));
        }
    }
    EXPECT_EQ(report.text, "");
}

TEST_F(OpenPcm, UnreadableThingsSayWhy)
{
    const char* nobody = "cannot open or decode the source (unsupported container or damaged file)";
    EXPECT_EQ(openAs("noise", noise.raw), DSD_ERROR_INPUT);
    EXPECT_EQ(error, nobody);
    EXPECT_EQ(openAs("noise.wav", noise.raw), DSD_ERROR_INPUT);
    EXPECT_EQ(error, nobody);
    EXPECT_EQ(openAs("empty.flac", {}), DSD_ERROR_INPUT);
    EXPECT_EQ(error, nobody);
    EXPECT_EQ(open_pcm("", {report, stop}, recording, error).status(), DSD_ERROR_INPUT);
    EXPECT_EQ(error, "no input path");
    EXPECT_EQ(open("missing.wav"), DSD_ERROR_INPUT);
    EXPECT_EQ(error, "cannot open '" + at("missing.wav") + "': No such file or directory");
    EXPECT_EQ(open(""), DSD_ERROR_INPUT); // the folder itself
    EXPECT_EQ(error, "cannot open '" + at("") + "': Is a directory");
}

TEST_F(OpenPcm, AFailedLoadLeavesNothingOfTheOneBefore)
{
    ASSERT_EQ(open("a.wav"), DSD_SUCCESS);
    stopByte = 1;
    EXPECT_EQ(open("a.wav"), kHostStopped);
    expectEmpty();
    EXPECT_TRUE(stop.pending()); // the taking is the job's
}

TEST_F(OpenPcm, TheStreamLimitCountsFourBytesPerSample)
{
    const Variable limit("TESK_STREAM_MAX_MB", "1");
    for (const char* name : {"a.wav", "a.flac"}) {
        EXPECT_EQ(open(name), DSD_ERROR_INPUT);
        EXPECT_EQ(error, "decoded PCM needs 2 MB (200000 frames x 2 ch x 4B), over the 1 MB limit");
    }
    const Variable enough("TESK_STREAM_MAX_MB", "2"); // 1.53 MiB are needed
    EXPECT_EQ(open("a.wav"), DSD_SUCCESS) << error;
}

TEST_F(OpenPcm, TheLoadReport)
{
    ASSERT_EQ(open("a.flac"), DSD_SUCCESS);
    reportLoaded("a.flac", recording, report);
    EXPECT_EQ(report.text, "Loaded audio file:  \ta.flac\n"
                           "\tFormat:            \tFLAC\n"
                           "\tChannels:          \t2\n"
                           "\tSample Rate:       \t44100 Hz\n"
                           "\tTotal Frames:      \t200000\n");
}

TEST_F(OpenPcm, ThePathTrace)
{
    // "é" as UTF-8, U+1F3B5 beyond the basic plane, a stray byte, an overlong slash
    EXPECT_EQ(utf16("\xC3\xA9\xF0\x9F\x8E\xB5\xFF\xC0\xAF"), u"\u00E9\U0001F3B5\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(utf16("\xE2\x82"), u"\uFFFD\uFFFD");
    const Variable on("TESK_TRACE_PATH", "1");
    tracePath("\xC3\xA9", true, report);
    EXPECT_EQ(report.text, "TRACE path_bytes: C3 A9\nTRACE wide_utf8: 00E9\nTRACE wide_ansi: 00E9\n"
                           "TRACE drwav_init_file_w(utf8)=1 (ansi)=0\n");
    open("missing.wav");
    EXPECT_TRUE(reported("(utf8)=0 (ansi)=0"));
    open("a.wav");
    EXPECT_TRUE(reported("(utf8)=1 (ansi)=0"));
    open("a.flac");
    EXPECT_EQ(report.text, "");
}

TEST_F(OpenPcm, MemoryThatCannotBeHadIsReported)
{
    if (kSanitized) GTEST_SKIP() << "the sanitizers need the address space themselves";
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    rlimit tight = before;
    tight.rlim_cur = std::size_t{1} << 29;
    // 2^36 − 1 declared frames: the gate has nobody to ask, so the allocation itself has to fail.
    flac[21] |= 0x0F;
    std::fill_n(flac.begin() + 22, 4, std::uint8_t{0xFF});
    memory = [] { return std::nullopt; };
    ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    const auto status = openAs("x.flac", flac);
    ASSERT_EQ(setrlimit(RLIMIT_AS, &before), 0);
    EXPECT_EQ(status, DSD_ERROR_INPUT);
    EXPECT_EQ(report.text, "Fatal: cannot allocate signal buffer (~1048575 MB). Try a shorter input or reduce sample "
                           "rate.\n");
    expectEmpty();
}

} // namespace
} // namespace tesk
