// The JSON file of settings per item.
#include "engine/batch/batch_config.h"
#include "engine/json/json_text.h"
#include "engine/options/options.h"
#include "engine/options/parse_steps.h"
#include "tests/batch/folder_fixture.h"

namespace tesk {
namespace {

std::optional<BatchConfig> read(const std::string& text, std::string& error)
{
    const auto root = parseJson(text, error);
    return root ? readBatchConfig(*root, error) : std::nullopt;
}

/// The words of an item, apart by single blanks.
std::string words(const std::string& text, const BatchInput& input = {"in/song.wav", ""}, std::size_t track = 1)
{
    std::string error, line;
    const auto config = read(text, error);
    EXPECT_TRUE(config) << error;
    if (config)
        for (const std::string& word : config->wordsFor(input, track)) line += (line.empty() ? "" : " ") + word;
    return line;
}

TEST(BatchConfig, OptionsInEverySpelling)
{
    const std::pair<const char*, const char*> cases[] = {
        {R"({"os": 128})", "-os 128"},
        {R"({"oversampling": 1.28e2})", "--oversampling 128"},
        {R"({"-os": "256", "--dst": true})", "-os 256 --dst"},
        {R"({"headroom": "auto", "pole": -0.85, "lal-lookahead": 1e-3})",
         "--headroom auto --pole -0.85 --lal-lookahead 0.001"},
        {R"({"eq": [1000, 3, 200]})", "-eq 1000 3 200"},
        {R"({"eq": [[1000, 3, 200], [4000, -1.5, 500]]})", "-eq 1000 3 200 -eq 4000 -1.5 500"},
        {R"({"zeros": [1000, 2e4]})", "--zeros 1000 20000"},
        {R"({"title": "-o \u00e9", "--track": 7})", "--title -o \xC3\xA9 --track 7"},
        {R"({"cifb": true, "single-pole": false, "mash": false})", "--cifb"},
        {R"({"sos-ef": 9})", "--sos-ef 9"},
        {R"({})", ""},
    };
    for (const auto& [options, expected] : cases)
        EXPECT_EQ(words(std::string("{\"defaults\": ") + options + "}"), expected);
    EXPECT_EQ(words("{}"), "");
}

TEST(BatchConfig, ATrackOverridesTheDefaults)
{
    const std::string text = R"({"defaults": {"os": 64, "dst": true, "sos-ef": 9},
        "tracks": [{"input": "song.wav", "oversampling": 128}, {"track": 3, "dst": false},
                   {"input": "live", "sos-ef": false, "cifb": 6}, {"input": "in/song.wav", "os": 256}]})";
    EXPECT_EQ(words(text, {"a/other.wav", ""}, 1), "-os 64 --dst --sos-ef 9");
    EXPECT_EQ(words(text, {"b/song.wav", ""}, 2), "--dst --sos-ef 9 --oversampling 128");
    EXPECT_EQ(words(text, {"in/song.wav", ""}, 2), "--dst --sos-ef 9 -os 256");
    EXPECT_EQ(words(text, {"a/other.wav", ""}, 3), "-os 64 --sos-ef 9");
    EXPECT_EQ(words(text, {"x/live.flac", ""}, 4), "-os 64 --dst --cifb 6");

    std::string error;
    const auto config = read(text, error);
    using Lines = std::vector<std::string>;
    EXPECT_EQ(config->unmatched({{"song.wav", ""}, {"live.wav", ""}, {"c", ""}}),
              Lines{"line 3: no item of the batch is \"input\": \"in/song.wav\""});
    EXPECT_EQ(config->unmatched({{"in/song.wav", ""}, {"live.wav", ""}}),
              Lines{"line 2: no item of the batch is \"track\": 3"});
}

// What the file says false of goes even where the common command line says it.
TEST(BatchConfig, TakesBackWhatTheCommandLineSays)
{
    const std::vector<std::string> names = {"--dst", "--no-simd", "--sos-ef", "--soft-limiter", "--rg"};
    std::vector<std::string> line = names;
    line.insert(line.end(), {"--title", "x", "-i", "a.wav", "a.dff"});
    ConversionSettings settings, expected;
    CollectingReporter report;
    ASSERT_EQ(parse_options(line, settings, report).status, 0) << report.text;
    ASSERT_EQ(parse_options({"--title", "x", "-i", "a.wav", "a.dff"}, expected, report).status, 0);
    std::string error;
    const auto config = read(R"({"tracks": [{"track": 2, "dst": false, "no-simd": false, "sos-ef": false,
                                              "soft-limiter": false, "rg": false}]})",
                             error);
    ASSERT_TRUE(config) << error;
    const ConversionSettings before = settings;
    config->takeBack({"a.wav", ""}, 1, settings);
    EXPECT_EQ(settings, before);
    config->takeBack({"a.wav", ""}, 2, settings);
    EXPECT_EQ(settings, expected);
}

// What the file says takes the place of the line, lists and modulators included.
TEST(BatchConfig, AnItemIsAsIfOnlyTheLastWordHadBeenSaid)
{
    const struct {
        std::vector<std::string> line;
        const char* config;
        std::vector<std::string> same;
    } cases[] = {
        {{"-eq", "5000", "6", "1000"}, R"({"tracks": [{"track": 1, "eq": [10, -6, 20]}]})", {"-eq", "10", "-6", "20"}},
        {{"--cifb", "5"}, R"({"tracks": [{"track": 1, "sos-ef": 9}]})", {"--sos-ef", "9"}},
        {{"-o", "7"}, R"({"defaults": {"cifb": 5}, "tracks": [{"track": 1, "mash": true}]})", {"--mash"}},
        {{"--mash"}, R"({"defaults": {"cifb": 5}, "tracks": [{"track": 1, "sos-ef": false}]})", {"--cifb", "5"}},
        {{"--mash", "222", "iir2"}, R"({"defaults": {"mash": true}})", {"--mash"}},
        {{"-o", "7"}, R"({"tracks": [{"track": 1, "cifb": 5, "order": 3}]})", {"--cifb", "5", "-o", "3"}},
        {{"--cifb", "5"}, R"({"defaults": {"cifb": false}, "tracks": [{"track": 1, "order": 7}]})", {"-o", "7"}},
    };
    const auto parsed = [](std::vector<std::string> line) {
        line.insert(line.end(), {"-i", "a.wav", "a.dsf"});
        ConversionSettings settings;
        CollectingReporter report;
        EXPECT_EQ(parse_options(line, settings, report).status, 0) << report.text;
        return settings;
    };
    for (const auto& c : cases) {
        std::string error;
        const auto config = read(c.config, error);
        ASSERT_TRUE(config) << error;
        ConversionSettings settings = parsed(c.line);
        CollectingReporter report;
        std::vector<Unavailable> unavailable;
        config->takeBack({"a.wav", ""}, 1, settings);
        EXPECT_TRUE(applyWords(config->wordsFor({"a.wav", ""}, 1), settings, report, unavailable)) << report.text;
        EXPECT_EQ(settings, parsed(c.same)) << c.config;
    }
}

TEST(BatchConfig, FaultsAreFoundAtOnce)
{
    const struct {
        const char *text, *says;
    } cases[] = {
        {"[1]", "line 1: the file must be an object"},
        {"{\"default\":\n{}}", "line 2: unknown key \"default\""},
        {R"({"defaults": []})", "\"defaults\" must be"},
        {R"({"tracks": {}})", "\"tracks\" must be"},
        {R"({"tracks": [3]})", "a track must be"},
        {R"({"tracks": [{"os": 64}]})", "a track is chosen"},
        {R"({"tracks": [{"input": "a", "track": 1}]})", "a track is chosen"},
        {R"({"tracks": [{"input": 1}]})", "\"input\" takes"},
        {R"({"tracks": [{"input": ""}]})", "\"input\" takes"},
        {R"({"tracks": [{"track": 0}]})", "\"track\" takes"},
        {R"({"tracks": [{"track": 1.5}]})", "\"track\" takes"},
        {"{\"defaults\": {\n\n\"oversamplin\": 64}}",
         "line 3: unknown option \"oversamplin\"; did you mean \"oversampling\"?"},
        {R"({"defaults": {"Q7": 1}})", "line 1: unknown option \"Q7\""},
        {R"({"defaults": {"--oversampl1ng": 1}})", "did you mean \"--oversampling\"?"},
        {R"({"defaults": {"os": 100}})", "line 1: Oversampling must be a power of two"},
        {R"({"defaults": {"os": true}})", "Oversampling value is NULL"},
        {R"({"defaults": {"os": false}})", "\"os\" takes a value"},
        {R"({"defaults": {"os": null}})", "\"os\" takes true"},
        {R"({"defaults": {"os": {}}})", "\"os\" takes true"},
        {R"({"defaults": {"os": []}})", "\"os\" takes true"},
        {R"({"defaults": {"os": [[64], 64]}})", "\"os\" takes true"},
        {R"({"defaults": {"os": [64, 128]}})", "has no use for \"128\""},
        {R"({"defaults": {"dst": 1}})", "has no use for \"1\""},
        {R"({"defaults": {"cifb": "-os"}})", "has no use for \"-os\""},
        {R"({"defaults": {"os": 64, "oversampling": 64}})", "second word about --oversampling"},
        {R"({"defaults": {"title": "--help"}})", "\"--help\" can be no value"},
        {R"({"defaults": {"dsre": true}})", "not available in this version"},
    };
    for (const auto& c : cases) {
        std::string error;
        EXPECT_FALSE(read(c.text, error)) << c.text;
        EXPECT_NE(error.find(c.says), std::string::npos) << error << " instead of " << c.says;
    }
    for (const char* name : {"i",
                             "input",
                             "format",
                             "pipe",
                             "batch",
                             "outdir",
                             "batch-config",
                             "output-format",
                             "naming-pattern",
                             "preset-save",
                             "preset-list",
                             "reverse",
                             "cli-v2",
                             "gui",
                             "quiet",
                             "v",
                             "log",
                             "help",
                             "record",
                             "dsd-mode",
                             "inproc-host"}) {
        std::string error;
        EXPECT_FALSE(read(format("{\"defaults\": {\"%s\": true}}", name), error)) << name;
        EXPECT_NE(error.find("belongs to the whole batch"), std::string::npos) << error;
    }
}

TEST_F(FolderTest, BatchConfigFilesAreNamed)
{
    save("c.json", "{\"defaults\":\n{\"oss\": 1}}");
    save("broken.json", "{");
    for (const char* name : {"c.json", "broken.json", "missing.json"}) {
        std::string error;
        EXPECT_FALSE(loadBatchConfig(at(name), error));
        EXPECT_NE(error.find(at(name)), std::string::npos) << error;
        EXPECT_EQ(error.find(at(name)), error.rfind(at(name))) << error;
    }
    save("good.json", "{\"defaults\": {\"os\": 128}}");
    std::string error;
    EXPECT_TRUE(loadBatchConfig(at("good.json"), error)) << error;
}

} // namespace
} // namespace tesk
