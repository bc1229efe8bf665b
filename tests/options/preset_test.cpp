// Presets: what is saved loads as the same settings, what is wrong changes nothing, the command line counts more.
#include "engine/json/json_text.h"
#include "engine/options/preset_files.h"
#include "engine/options/preset_keys.h"
#include "engine/options/preset_use.h"
#include "tests/options/command_line.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>

namespace tesk::test {
namespace {

namespace fs = std::filesystem;

struct Loaded {
    bool ok = false;
    ConversionSettings settings;
    std::vector<Unavailable> unavailable;
    std::string text, error;
};

Loaded load(const std::string& json, const std::string& line = "")
{
    Loaded loaded;
    if (!line.empty()) loaded.settings = parseOptionsOnly(line).settings;
    std::string fault;
    const auto preset = parseJson(json, fault);
    EXPECT_TRUE(preset) << fault;
    CollectingReporter report;
    const std::set<std::string> typed = loaded.settings.given;
    if (preset) loaded.ok = applyPreset(*preset, typed, loaded.settings, loaded.unavailable, report, loaded.error);
    loaded.text = report.text;
    return loaded;
}

/// What the options of the keys may be given, none of it the default.
const std::vector<std::string>& fragments()
{
    static const std::vector<std::string> all = {"--music-type 3",
                                                 "-os 256",
                                                 "-o 9",
                                                 "-o 5",
                                                 "-unsrs",
                                                 "--mash",
                                                 "--mash 222",
                                                 "--sos-ef",
                                                 "--sos-ef 11",
                                                 "--psy",
                                                 "--psy-strategy aggressive",
                                                 "--psy-strategy conservative",
                                                 "--apo",
                                                 "--apo light",
                                                 "-nt -60.1",
                                                 "-nt 0",
                                                 "-nt 0.1",
                                                 "-t 4096",
                                                 "--lal",
                                                 "--lal-lookahead 3.3",
                                                 "--lal-threshold 0",
                                                 "--psy-phon 60",
                                                 "-dth",
                                                 "-dth 7",
                                                 "-H 0.3 tanh",
                                                 "-se default",
                                                 "--noise-reduce",
                                                 "--wiener",
                                                 "--wiener-floor -80.7",
                                                 "--decrackle",
                                                 "--stereo",
                                                 "--dehum",
                                                 "--eq-bass 1e-3",
                                                 "--eq-presence -2",
                                                 "--eq-air 0.30000000000000004",
                                                 "--stereo-width 0.7",
                                                 "--stereo-crossfeed 0",
                                                 "-w hanning",
                                                 "-w 1",
                                                 "-w flattop",
                                                 "-w 3",
                                                 "-w hamming",
                                                 "-a",
                                                 "-m",
                                                 "-b 11.7",
                                                 "-hb",
                                                 "-pc 20000",
                                                 "-sc 30000",
                                                 "-l -14",
                                                 "-l 0",
                                                 "--rg album",
                                                 "--rg"};
    return all;
}

// Catches a key that is not saved, not loaded, mapped to a neighbour, rounded, or that forgets the option's mark.
TEST(Presets, SavedSettingsLoadAsTheSame)
{
    std::mt19937 random(11);
    std::set<std::string> changed;
    for (std::size_t i = 0; i < 1500; ++i) {
        std::string line = i < fragments().size() ? fragments()[i] : "";
        for (std::size_t count = i < fragments().size() ? 0 : random() % 9; count > 0; --count)
            line += (line.empty() ? "" : " ") + fragments()[random() % fragments().size()];
        const Parsed parsed = parse(words(line + (line.empty() ? "" : " ") + "-i in.wav out.dsf"));
        if (parsed.outcome.status == 1) continue; // two modulators
        ConversionSettings settings = parsed.settings;
        settings.inputs.clear();
        settings.outputPath.clear();
        settings.given.erase("--input");
        const std::string text = presetText(settings);
        const Loaded loaded = load(text);
        ASSERT_TRUE(loaded.ok) << loaded.error;
        ASSERT_TRUE(loaded.settings == settings) << line << "\n" << text;
        ASSERT_EQ(loaded.unavailable.empty(), parsed.outcome.status == 0) << line;
        ASSERT_EQ(presetText(loaded.settings), text);
        for (const PresetKey& key : presetKeys())
            if (key.get && jsonText(key.get(settings)) != jsonText(key.get({}))) changed.insert(key.name);
    }
    for (const PresetKey& key : presetKeys()) // the generator reaches them all; a transfer curve has no key
        EXPECT_TRUE(!key.option || changed.count(key.name) || key.option == std::string("--compand")) << key.name;
}

TEST(Presets, TheTextHoldsEveryKeyOnceInOrder)
{
    std::string error, before;
    const auto preset = parseJson(presetText({}), error);
    ASSERT_TRUE(preset) << error;
    EXPECT_EQ(preset->members.size(), presetKeys().size());
    EXPECT_EQ(presetKeys().size(), 56u);
    for (const JsonMember& member : preset->members) {
        EXPECT_LT(before, member.key);
        before = member.key;
        EXPECT_EQ(member.value.kind, findPresetKey(member.key)->kind) << member.key;
    }
    for (const char* automatic : {"order", "efmOrder", "taps", "K_beta", "passband_cutoff", "wiener_noise_floor_db"})
        EXPECT_EQ(preset->find(automatic)->number, 0) << automatic;
    for (const PresetKey& key : presetKeys()) EXPECT_TRUE(!key.option || findOption(key.option)) << key.name;
}

TEST(Presets, WhatIsWrongIsNamedAndChangesNothing)
{
    const struct {
        const char *json, *error;
    } cases[] = {
        {"{\"oversampling\": 256,\n\"tapes\": 4096}", "line 2: the key 'tapes' is not known; did you mean 'taps'?"},
        {"{\"something\": 1}", "line 1: the key 'something' is not known"},
        {"{\"oversampling\": 256,\n\n\"taps\": 4097}",
         "line 3: the key 'taps' takes an integer (even, at least 512; 0: not given)"},
        {"{\"taps\": \"4096\"}",
         "line 1: the key 'taps' takes an integer (even, at least 512; 0: not given), not a text"},
        {"{\"taps\": 4096.5}",
         "line 1: the key 'taps' takes an integer (even, at least 512; 0: not given), not a number"},
        {"{\"taps\": 1e300}", "line 1: the key 'taps' takes an integer (even, at least 512; 0: not given)"},
        {"{\"oversampling\": 96}",
         "line 1: the key 'oversampling' takes an integer (a power of two, 64 to 4096; 0: not given)"},
        {"{\"applyRemez\": 1}", "line 1: the key 'applyRemez' takes true or false, not an integer"},
        {"{\"psy_strategy\": 3}",
         "line 1: the key 'psy_strategy' takes an integer (0 conservative, 1 balanced, 2 aggressive)"},
        {"{\"mashType\": 3}",
         "line 1: the key 'mashType' takes an integer (421 4-2-1, 222 2-2-2, 111 1-1-1; 0: not given)"},
        {"{\"rgMode\": \"disc\"}", "line 1: the key 'rgMode' takes a text (\"track\", \"album\")"},
        {"{\"order\": 4}", "line 1: the key 'order' takes an integer (Order value must be 3,5,7,9 (11 measured 48 dB "
                           "worse in-band than 9; use --cifb); 0: not given)"},
        {"{\"taps\": 4096, \"targetLufs\": 2147483648}", "line 1: the key 'targetLufs' takes an integer"},
        {"{\"applyBM_window\": true,\n\"applyHN_window\": true}",
         "line 2: the keys 'applyBM_window' and 'applyHN_window' are both true; keep one window"},
        {"[1]", "line 1: a preset is an object: { \"taps\": 4096, ... }"},
    };
    for (const auto& [json, error] : cases) {
        const Loaded loaded = load(json);
        EXPECT_FALSE(loaded.ok) << json;
        EXPECT_EQ(loaded.error, error);
        EXPECT_TRUE(loaded.settings == ConversionSettings{}) << json;
    }
    EXPECT_FALSE(load("{\"taps\": 1}", "-t 4096").ok); // wrong is wrong, used or not
}

TEST(Presets, TheCommandLineCountsMore)
{
    const Loaded both = load("{\"taps\": 8192, \"oversampling\": 256, \"dither_type\": 2, \"apply_dither\": true}",
                             "-t 4096 --dither 7");
    EXPECT_EQ(both.settings.taps, 4096);
    EXPECT_EQ(both.settings.oversampling, 256);
    EXPECT_EQ(both.settings.ditherType, 7);
    EXPECT_EQ(both.settings.given.count("--oversampling"), 1u);
    const char* modulators = "{\"order\": 7, \"useMash\": true, \"efmOrder\": 5}";
    for (const char* line : {"--cifb 6", "--mash 222", "--sos-ef 11", "-o 5"}) {
        const ConversionSettings alone = parseOptionsOnly(line).settings;
        EXPECT_TRUE(load(modulators, line).settings == alone) << line;
    }
    EXPECT_EQ(load(modulators).settings.given, (std::set<std::string>{"--mash", "--order", "--sos-ef"}));
}

TEST(Presets, ZeroIsNotGivenAndTheWindowIsTheOneThatIsTrue)
{
    const Loaded plain = load("{\"order\": 0, \"taps\": 0, \"oversampling\": 0, \"psy_phon\": 0, \"mashType\": 0,"
                              "\"lookahead_ms\": 0, \"K_beta\": 0.0, \"apply_noiseThreshold\": false,"
                              "\"noise_threshold\": -60, \"channelType\": 0, \"Skips\": false}");
    EXPECT_TRUE(plain.ok && plain.settings == ConversionSettings{}) << plain.error;
    EXPECT_EQ(plain.text, "");
    EXPECT_EQ(load("{\"applyHM_window\": true, \"applyK_window\": false}").settings.windowType, 4);
    EXPECT_EQ(load("{\"applyK_window\": false}").settings.windowType, 0);
    EXPECT_EQ(load("{\"noise_threshold\": -60}").settings.noiseThresholdDb, -60.0);
    EXPECT_EQ(load("{\"order\": 7.0}").settings.order, 7);
}

TEST(Presets, WhatCannotRunIsToldAsForItsOption)
{
    const Loaded unused = load("{\"Skips\": 2, \"channelLayout\": \"5.1\", \"applySpectralEQ\": true}");
    EXPECT_TRUE(unused.ok && unused.unavailable.empty());
    EXPECT_EQ(unused.text, "Warning: the key 'Skips' of the preset is not used.\n"
                           "Warning: the key 'applySpectralEQ' of the preset is not used.\n"
                           "Warning: the key 'channelLayout' of the preset is not used.\n");
    const Loaded curve = load("{\"apply_compander\": true}");
    ASSERT_EQ(curve.unavailable.size(), 1u);
    EXPECT_EQ(curve.unavailable[0].reason, "a preset does not hold its values; use --compand");
    for (const PresetKey& key : presetKeys()) {
        if (!key.option || key.kind != JsonValue::Kind::boolean || key.option == std::string("--compand")) continue;
        const bool built = !findOption(key.option)->unavailable;
        EXPECT_EQ(load("{\"" + std::string(key.name) + "\": true}").unavailable.empty(), built) << key.name;
    }
}

/// A folder of presets of its own, the current one while it lives, and no others to be found.
class PresetFiles : public testing::Test {
protected:
    void SetUp() override
    {
        const char* base = std::getenv("TEMP");
        folder_ = fs::absolute(base ? base : ".") / "presets_test";
        fs::remove_all(folder_);
        fs::create_directories(folder_ / "presets");
        fs::create_directories(folder_ / "other");
        before_ = fs::current_path();
        fs::current_path(folder_);
    }
    void TearDown() override { fs::current_path(before_); }

    static void write(const std::string& path, const std::string& text) { std::ofstream(path) << text; }
    static std::string read(const std::string& path)
    {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static std::size_t filesIn(const std::string& path)
    {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(path), {}));
    }

private:
    fs::path folder_, before_;
};

TEST_F(PresetFiles, TheListNamesEachFileOnceWhereItIsFound)
{
    const std::vector<std::string> folders = {"./presets/", "nowhere/", "other/", "presets/../other/"};
    CollectingReporter none, some;
    listPresets(none, folders);
    EXPECT_EQ(none.text, "Available presets:\n  (no presets found)\n");
    for (const char* path : {"presets/b.json", "other/b.json", "other/a.json", "other/c.txt"}) write(path, "{}");
    fs::create_directory("other/d.json");
    listPresets(some, folders);
    EXPECT_EQ(some.text, "Available presets:\n  b                        \t./presets/b.json\n"
                         "  a                        \tother/a.json\n"
                         "  b                        \tother/b.json\n");
    const Parsed listed = parse("--preset-list");
    EXPECT_TRUE(listed.outcome.finished && listed.outcome.status == 0);
    EXPECT_TRUE(listed.text.starts_with("Available presets:\n  b   ")) << listed.text;
}

TEST_F(PresetFiles, AreLoadedByTheCommandLineTheFileOverTheMasteringPreset)
{
    write("presets/jazz.json", "{\"taps\": 8192, \"oversampling\": 256, \"order\": 7}");
    write("my.json", "{\"taps\": 2048, \"oversampling\": 0}");
    const Parsed both = parseOptionsOnly("--preset-load my.json -o 5 --mastering-preset jazz");
    EXPECT_EQ(both.outcome.status, 0) << both.text;
    EXPECT_EQ(both.settings.taps, 2048);
    EXPECT_EQ(both.settings.oversampling, 64);
    EXPECT_EQ(both.settings.order, 5);
    EXPECT_EQ(both.settings.given.count("--taps"), 1u);
    EXPECT_EQ(both.settings.given.count("--oversampling"), 0u);
    EXPECT_TRUE(parseOptionsOnly("--mastering-preset jazz").settings.usesDirectForm());

    const struct {
        const char *json, *line, *text;
        int status;
    } cases[] = {
        {"{}", "--preset-load no.json", "Preset: load error: no.json: there is no such file\n", DSD_ERROR_PRESET},
        {"{\n\"taps\": 1}", "--preset-load my.json",
         "Preset: load error: my.json: line 2: the key 'taps' takes an integer (even, at least 512; 0: not given)\n",
         DSD_ERROR_PRESET},
        {"{", "--preset-load my.json --cli-v2",
         "Using CLI v2 parser...\nPreset: load error: my.json: line 1: ", DSD_ERROR_PRESET},
        {"{\"useMash\": true, \"efmOrder\": 5}", "--preset-load my.json", "Error : --mash / --cifb / --sos-ef are", 1},
        {"{\"apply_compander\": true}", "--preset-load my.json",
         "Error : apply_compander in a preset is not available in this version: ", DSD_ERROR_UNSUPPORTED},
    };
    for (const auto& [json, line, text, status] : cases) {
        write("my.json", json);
        const Parsed parsed = parseOptionsOnly(line);
        EXPECT_EQ(parsed.outcome.status, status) << line;
        EXPECT_TRUE(parsed.text.starts_with(text)) << parsed.text;
    }
    ConversionSettings settings;
    std::vector<Unavailable> unavailable;
    CollectingReporter report;
    EXPECT_FALSE(loadMasteringPreset("pop", {}, settings, unavailable, report, {"./presets/"}));
    EXPECT_TRUE(report.text.starts_with("Mastering preset 'pop': not found in any search path.\n"
                                        "  Looked in: ./presets/, "))
        << report.text;
    EXPECT_TRUE(report.text.ends_with("/../share/TeskEngine/presets/\n"));
}

TEST_F(PresetFiles, AreSavedWholeAndNeverOverTheRunsOwnFiles)
{
    write("in.wav", "music");
    write("old.json", "{\"taps\": 2048}");
    ConversionSettings settings = parse("-i in.wav out.dsf -t 4096").settings;
    CollectingReporter report;
    ASSERT_TRUE(savePresetFile("old.json", settings, report)) << report.text;
    EXPECT_EQ(read("old.json"), presetText(settings));
    fs::create_symlink("in.wav", "link.json");
    fs::create_symlink(".", "here");
    for (const char* path :
         {"in.wav", "./presets/../in.wav", "link.json", "out.dsf", "here/out.dsf", "no/x.json", "other", "/dev/full"}) {
        CollectingReporter told;
        EXPECT_FALSE(savePresetFile(path, settings, told)) << path;
        EXPECT_TRUE(told.text.starts_with("Preset: save error: ")) << told.text;
    }
    EXPECT_EQ(read("in.wav"), "music");
    EXPECT_FALSE(fs::exists("out.dsf"));
    EXPECT_EQ(filesIn("."), 6u); // nothing half written was left: presets, other, in.wav, old.json, two links
    EXPECT_EQ(parse("--preset-save x.json -t 4096").outcome.status, 0);
    EXPECT_FALSE(fs::exists("x.json")) << "the parser writes nothing";
}

TEST_F(PresetFiles, TheFoldersFollowTheEnvironment)
{
    const auto set = [](const char* name, const char* value) {
        const char* before = std::getenv(name);
        const std::string kept = before ? before : "";
        value ? setenv(name, value, 1) : unsetenv(name);
        return kept;
    };
    const std::string home = set("HOME", "/h"), dataHome = set("XDG_DATA_HOME", nullptr),
                      dataDirs = set("XDG_DATA_DIRS", nullptr);
    const auto tail = [](const std::vector<std::string>& all) { return std::vector(all.begin() + 3, all.end()); };
    const auto usual = presetFolders();
    EXPECT_EQ(usual[0], "./presets/");
    EXPECT_EQ(usual[2], usual[1].substr(0, usual[1].size() - 8) + "../share/TeskEngine/presets/");
    EXPECT_EQ(tail(usual), (Line{"/h/.local/share/TeskEngine/presets/", "/usr/local/share/TeskEngine/presets/",
                                 "/usr/share/TeskEngine/presets/"}));
    set("XDG_DATA_HOME", "/d");
    set("XDG_DATA_DIRS", "/a::relative:/b");
    EXPECT_EQ(tail(presetFolders()),
              (Line{"/d/TeskEngine/presets/", "/a/TeskEngine/presets/", "/b/TeskEngine/presets/"}));
    set("HOME", home.c_str());
    set("XDG_DATA_HOME", dataHome.empty() ? nullptr : dataHome.c_str());
    set("XDG_DATA_DIRS", dataDirs.empty() ? nullptr : dataDirs.c_str());
}

} // namespace
} // namespace tesk::test
