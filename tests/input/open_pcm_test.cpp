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

class OpenPcm : public LoadTest {
protected:
    OpenPcm()
    {
        run(ffmpeg(noise, 44100) + "a.wav && flac -s a.wav");
        wav = contents(at("a.wav"));
        flac = contents(at("a.flac"));
    }
    const Noise noise = makeNoise("s16le", 2, 200000);
    Bytes wav, flac;
};

TEST_F(OpenPcm, TheExtensionChooses)
{
    const char *isWav = "looks like WAV", *isFlac = "looks like FLAC";
    const struct {
        std::vector<const char*> names;
        const char *wavRefused, *flacRefused; // null where it is read
    } cases[] = {{{"x.wav", "X.WaVe", "x.w64", "x.aiff", "x.aif", "x.aifc"}, nullptr, isFlac},
                 {{"Song.FLAC", "x.fla"}, isWav, nullptr},
                 {{"x.tta", "x.wv", "x.WVC"}, isWav, isFlac},
                 {{"song", "song.xyz", "song.flac.bak"}, nullptr, nullptr}};
    for (const auto& c : cases)
        for (const char* name : c.names)
            for (const auto& [file, refused] : {std::pair(&wav, c.wavRefused), {&flac, c.flacRefused}}) {
                SCOPED_TRACE(name);
                const auto status = openAs(name, *file);
                refused ? expectRefused(status, refused) : expectTruth(noise);
            }
}

/// Stands for a decoder of run time: 3000 frames of a ramp for every file, in pieces of odd length.
class RampReader final : public PcmReader {
public:
    RampReader()
    {
        info_.format = "ramp";
        info_.channels = 2;
        info_.sampleRate = 44100;
        info_.bitsPerSample = 24;
        info_.declaredFrames = 2900;
        info_.lengthIsHint = true;
    }
    Status open(const std::string&) override { return {}; }
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

std::unique_ptr<PcmReader> ramp(const std::string&, std::string&) { return std::make_unique<RampReader>(); }

std::unique_ptr<PcmReader> none(const std::string&, std::string& why)
{
    why = "no such decoder";
    return nullptr;
}

TEST_F(OpenPcm, TheStreamLoaderReadsItsExtensionsAndWhatNobodyElseReads)
{
    for (const char* name : {"x.m4a", "x.ALAC", "x.mp4", "x.caf", "x.ape", "x.mac"}) {
        save(at(name), wav); // never read as what it is
        expectRefused(open_pcm(at(name), {report, stop, memory, none}, recording, error).status(), "");
        EXPECT_EQ(error, "no such decoder");
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
    const LoadContext context{report, stop, memory, ramp};
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
    for (const auto& [name, bytes] : {std::pair("noise", noise.raw), {"noise.wav", noise.raw}, {"empty.flac", {}}}) {
        EXPECT_EQ(openAs(name, bytes), DSD_ERROR_INPUT);
        EXPECT_EQ(error, "cannot open or decode the source (unsupported container or damaged file)");
    }
    EXPECT_EQ(open_pcm("", {report, stop}, recording, error).status(), DSD_ERROR_INPUT);
    EXPECT_EQ(error, "no input path");
    for (const auto& [name, why] : {std::pair("missing.wav", "No such file or directory"), {"", "Is a directory"}}) {
        EXPECT_EQ(open(name), DSD_ERROR_INPUT);
        EXPECT_EQ(error, "cannot open '" + at(name) + "': " + why);
    }
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
