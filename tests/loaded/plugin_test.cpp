// Decoder plugins: what the loader refuses, what the reader makes of good, odd and lying ones.
#include "tests/loaded/fake_libraries.h"

#include "input/loaded/loaded_libraries.h"
#include "input/loaded/plugin_reader.h"
#include "input/loaded/stream_loader.h"

#include <optional>

namespace tesk {
namespace {

/// The test plugin's samples: frames `begin` up to `end`.
Noise ramp(std::uint32_t channels, std::uint64_t begin, std::uint64_t end)
{
    return noiseOf(channels, begin, end, [](std::uint64_t frame, std::uint32_t channel) {
        return std::ldexp(static_cast<double>(frame * 64 + channel), -31);
    });
}

// One process keeps one plugin, so everything about keeping stands in one test; the others load the library themselves.
TEST(PluginLoader, RefusesUnloadsAndKeepsTheFirstGoodOne)
{
    loadedLibraries().plugin = nullptr; // where the tests are repeated
    CollectingReporter report;
    std::string error;
    const std::string emptyList = "library reports an empty codec list (nothing it can decode)";
    std::vector<std::pair<std::string, std::string>> refusals = {
        {"", "Ono decoder library path given"},
        {fake("version_2"), "ABI version mismatch: library reports 2, this build expects 1"},
        {fake("empty_list"), emptyList},
        {fake("null_list"), emptyList},
    };
    for (const std::string symbol : {"tesk_ext_abi_version", "tesk_ext_last_error"}) // the first and the last
        refusals.emplace_back(fake("without_" + symbol),
                              "missing symbol '" + symbol + "' in '" + fake("without_" + symbol) +
                                  "' -- this file does not implement the TESK external decoder ABI (see "
                                  "public/tesk_ext_decoder)");
    for (const auto& [path, why] : refusals) {
        EXPECT_EQ(loadExtDecoder(path, report, error), nullptr);
        EXPECT_EQ(error, why);
        EXPECT_FALSE(!path.empty() && isLoaded(path)) << path;
    }
    // libm.so.6 is found by its bare name in the system's folders only, where nobody meant to look.
    for (const std::string& path : {fake("missing"), kFakes, std::string("libm.so.6"), std::string(__FILE__)}) {
        EXPECT_EQ(loadExtDecoder(path, report, error), nullptr);
        EXPECT_EQ(error.find("cannot load '" + path + "': dlopen failed (/"), 0u) << error;
        EXPECT_EQ(error.back(), ')');
    }
    EXPECT_EQ(report.text, "");

    const std::string good = fake("good");
    const auto answers = fromFourThreads([&good] {
        CollectingReporter quiet;
        std::string reason;
        return loadExtDecoder(good, quiet, reason);
    });
    const ExtDecoderApi* const kept = answers[0];
    ASSERT_TRUE(kept && kept->open && kept->read && kept->seek && kept->close && kept->lastError);
    EXPECT_EQ(std::count(answers.begin(), answers.end(), kept), 4);
    EXPECT_TRUE(isLoaded(good));
    for (const std::string& path : {good, kFakes + "../fakes/good" + platform::kLibrarySuffix})
        EXPECT_EQ(loadExtDecoder(path, report, error), kept);
    EXPECT_EQ(report.text, "");
    EXPECT_EQ(loadExtDecoder(fake("version_2"), report, error), kept);
    EXPECT_EQ(report.text, "Warning             \tthe decoder library '" + fake("version_2") +
                               "' takes effect after restarting the player\n");
    EXPECT_FALSE(isLoaded(fake("version_2")));
    EXPECT_EQ(loadExtDecoder("", report, error), nullptr);

    // The user's plugin comes first, and what cannot be loaded is not made up for by something else.
    const auto chosen = makeStreamLoader({good, fake("missing"), fake("missing")}, report);
    EXPECT_NE(chosen("channels=3", error), nullptr);
    EXPECT_EQ(chosen("refuse=1 nulltext=1", error), nullptr);
    EXPECT_EQ(error, "tesk_ext_open: the plugin gives no reason");
    EXPECT_NE(makeStreamLoader({"", "", good}, report)("channels=3", error), nullptr);
    EXPECT_EQ(makeStreamLoader({"", fake("missing"), good}, report)("channels=3", error), nullptr);
    EXPECT_EQ(makeStreamLoader({}, report)("channels=3", error), nullptr);
    EXPECT_EQ(error, "Ono decoder library path given");
}

class Plugin : public LoadTest {
protected:
    Plugin()
    {
        EXPECT_TRUE(library_.load(fake("good"), error)) << error;
        platform::SymbolTable table(library_);
        table.take("tesk_ext_open", api.open)
            .take("tesk_ext_read", api.read)
            .take("tesk_ext_seek", api.seek)
            .take("tesk_ext_close", api.close)
            .take("tesk_ext_last_error", api.lastError)
            .take("test_plugin_open_decoders", openDecoders);
        EXPECT_EQ(table.missing(), nullptr);
    }
    ~Plugin() override { EXPECT_EQ(openDecoders(), 0); }

    PDM_ENCODING_STATUS play(const std::string& script, FrameRange range = {})
    {
        return loadFrom(PluginReader(api), script, range);
    }

    ExtDecoderApi api{};
    int (*openDecoders)() = nullptr;

private:
    platform::DynamicLibrary library_;
};

TEST_F(Plugin, EveryFrameArrivesOnceAndInOrder)
{
    struct Case {
        const char* script;
        std::uint32_t channels;
        std::uint64_t frames;
        int bits = 24;
        const char* format = "xxx";
        std::optional<std::uint64_t> declared = {};
    };
    const Case cases[] = {
        {"frames=150000", 2, 150000, 24, "xxx", 150000},
        {"channels=6 frames=65537 bits=16", 6, 65537, 16, "xxx", 65537},
        {"channels=64 frames=9000 rate=384000 bits=32", 64, 9000, 32, "xxx", 9000},
        {"channels=1 frames=5000 chunk=1", 1, 5000, 24, "xxx", 5000},
        {"channels=6 frames=70000 chunk=997", 6, 70000, 24, "xxx", 70000},
        {"frames=0", 2, 0},
        {"frames=150000 total=0", 2, 150000},
        {"frames=150000 total=400000", 2, 150000, 24, "xxx", 400000},
        {"frames=150000 total=100", 2, 150000, 24, "xxx", 100},
        {"frames=3000000 total=18446744073709551615", 2, 3000000}, // beyond the guard of a length that overflowed
        {"bits=0", 2, 10000, 24, "xxx", 10000},
        {"bits=0 float=1", 2, 10000, 32, "xxx", 10000},
        {"bits=4000000000", 2, 10000, 24, "xxx", 10000},
        {"longname=1", 2, 10000, 24, "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx", 10000},
        {"size=12 float=1", 2, 10000, 24, "plugin"}, // what it did not fill counts as 0
    };
    for (const Case& c : cases) {
        const bool gateless = std::string(c.script).find("18446") != std::string::npos;
        memory = [gateless] { return gateless ? std::nullopt : std::optional(std::uint64_t{1} << 30); };
        ASSERT_EQ(play(c.script), DSD_SUCCESS) << c.script << ": " << error;
        EXPECT_EQ(report.text, "") << c.script;
        EXPECT_EQ(recording.info.bitsPerSample, c.bits) << c.script;
        EXPECT_EQ(recording.info.format, c.format);
        EXPECT_EQ(recording.info.declaredFrames, c.declared) << c.script;
        SCOPED_TRACE(c.script);
        expectTruth(ramp(c.channels, 0, c.frames));
    }
}

TEST_F(Plugin, FailuresAndLiesEndInAText)
{
    struct Case {
        const char *script, *error;
    };
    const Case cases[] = {
        {"refuse=1", "tesk_ext_open: no?th???ing \xC3\xBC ???"},
        {"refuse=1 nulltext=1", "tesk_ext_open: the plugin gives no reason"},
        {"channels=0", "tesk_ext_open: the header declares 0 channels; 1 to 64 can be read"},
        {"channels=65", "tesk_ext_open: the header declares 65 channels; 1 to 64 can be read"},
        {"rate=0", "tesk_ext_open: the header declares a sampling rate of 0 Hz"},
        {"rate=4294967295", "tesk_ext_open: the header declares a sampling rate of 4294967295 Hz"},
        {"size=8", "tesk_ext_open: broken plugin: it filled 8 bytes of the format's 64"},
        {"size=72", "tesk_ext_open: broken plugin: it filled 72 bytes of the format's 64"},
        {"total=1000000000000", "the signal buffer does not fit in memory"},
        {"stop=0", "tesk_ext_read: the tape is torn"},
        {"frames=200000 stop=70001", "tesk_ext_read: the tape is torn"},
        {"stop=5000 answer=18446744073709551614", "tesk_ext_read: broken plugin: it returned -2 for 4096 frames"},
        {"stop=5000 answer=4097", "tesk_ext_read: broken plugin: it returned 4097 for 4096 frames"},
        {"stop=5000 answer=9223372036854775807",
         "tesk_ext_read: broken plugin: it returned 9223372036854775807 for 4096 frames"},
        {"stop=5000 spill=1", "tesk_ext_read: broken plugin: it wrote more frames than it was asked for"},
        {"channels=64 stop=8192 spill=1 answer=0",
         "tesk_ext_read: broken plugin: it wrote more frames than it was asked for"},
    };
    for (const Case& c : cases) {
        expectRefused(play(c.script), c.error);
        EXPECT_EQ(error, c.error);
        EXPECT_EQ(openDecoders(), 0) << c.script;
    }
    // The plugin ends the process when it is asked for anything behind an error.
    PluginReader reader(api);
    ASSERT_TRUE(reader.open("stop=0").ok());
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(readingFails(reader));
    EXPECT_EQ(reader.seek(0).status(), DSD_ERROR_INPUT);
    EXPECT_EQ(reader.errorText(), "tesk_ext_read: the tape is torn");
    EXPECT_TRUE(reader.open("").ok()); // another file in the same reader
    EXPECT_EQ(readOn(reader, 100), ramp(2, 0, 100).truth);
}

TEST_F(Plugin, SamplesThatAreNoSoundBecomeSilenceWithOneWarning)
{
    // A plugin's word for "integer" is not taken.
    for (const char* script : {"frames=90000 nan=70000", "frames=90000 nan=70000 float=1"}) {
        ASSERT_EQ(play(script), DSD_SUCCESS);
        EXPECT_EQ(report.text, "Warning             \t2 samples are not finite or beyond 1e+06 and were set to 0; the "
                               "first is frame 70000 of channel 1\n");
        Noise silenced = ramp(2, 0, 90000);
        silenced.truth[140000] = silenced.truth[140001] = 0;
        expectTruth(silenced);
    }
}

TEST_F(Plugin, SeeksToTheFrameOrStaysWhereItWas)
{
    PluginReader reader(api);
    ASSERT_TRUE(reader.open("frames=100000 chunk=1000").ok());
    for (const std::uint64_t frame : {99999u, 0u, 4096u, 50001u, 100000u, 1u}) {
        ASSERT_TRUE(reader.seek(frame).ok());
        EXPECT_TRUE(readOn(reader, 5000) == ramp(2, frame, std::min<std::uint64_t>(frame + 5000, 100000)).truth);
    }
    EXPECT_EQ(reader.seek(100001).status(), DSD_ERROR_UNSUPPORTED);
    EXPECT_EQ(reader.errorText(), "tesk_ext_seek: cannot wind");
    EXPECT_EQ(readOn(reader, 100), ramp(2, 5001, 5101).truth);

    // Where the plugin refuses, the loader drops what lies before the range.
    for (const char* script : {"frames=150000", "frames=150000 total=0 chunk=997 seek=18446744073709551615"}) {
        ASSERT_EQ(play(script, {70001, 140002}), DSD_SUCCESS) << error;
        expectTruth(ramp(2, 70001, 140002));
    }
    ASSERT_TRUE(reader.open("seek=7").ok());
    EXPECT_EQ(reader.seek(1).status(), DSD_ERROR_INPUT);
    EXPECT_EQ(reader.errorText(), "tesk_ext_seek: broken plugin: it returned 7");
}

} // namespace
} // namespace tesk
