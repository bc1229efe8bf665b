// Names of outputs, the plan made of them, and its shards.
#include "engine/batch/batch_plan.h"
#include "engine/batch/naming.h"
#include "tests/batch/folder_fixture.h"

#include <set>

namespace tesk {
namespace {

TEST(Naming, Patterns)
{
    const struct {
        std::string pattern, name; // no name: refused by checkPattern
        std::vector<std::string> unknown = {};
    } cases[] = {
        {"{track:3}_{input}", "007_song.dsf"},
        {"{input}", "song.dsf"},
        {"{track}{track:1}{track:9}", "77000000007.dsf"},
        {"{track:12}", "000000000007.dsf"},
        {"{input}.{ext}", "song.dsf"},
        {"{ext}/{input}", "dsf/song"},
        {"a..b/{track}", "a..b/7.dsf"},
        {"100%d%s {track:2}%", "100%d%s 07%.dsf"},
        {"{{input}}", "{song}.dsf", {"{"}},
        {"{Input}{title}-{track", "{Input}{title}-{track.dsf", {"{Input}", "{title}", "{track"}},
        {"{}x", "{}x.dsf", {"{}"}},
        {"", ""},
        {"{input}/", ""},
        {"/{input}", ""},
        {"../{input}", ""},
        {"a/../{input}", ""},
        {"{input}/..", ""},
        {std::string("a\0b", 3), ""},
        {"{track:0}", ""},
        {"{track:100}", ""},
        {"{track:-1}", ""},
        {"{track:1x}", ""},
        {"{track:}", ""},
        {"{track:x}", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pattern);
        EXPECT_EQ(checkPattern(c.pattern).empty(), !c.name.empty());
        if (c.name.empty()) continue;
        EXPECT_EQ(expandPattern(c.pattern, {"song", "dsf", 7}), c.name);
        EXPECT_EQ(checkExpanded(c.name), "");
        EXPECT_EQ(unknownVariables(c.pattern), c.unknown);
    }
    EXPECT_EQ(expandPattern("{track:2}", {"", "dff", 12345}), "12345.dff");
}

TEST(Naming, WhatAnOddInputMakesOfAProperPattern)
{
    const std::string longest(255, 'x');
    for (const std::string& bad : {std::string("../x.dsf"), std::string("a/../x.dsf"), std::string("/x.dsf"),
                                   std::string(".dsf"), std::string("a/.dsf"), longest + "x", longest + "x/a.dsf"})
        EXPECT_NE(checkExpanded(bad), "") << bad;
    for (const std::string& good : {longest, longest + "/" + longest, std::string("..a/b.dsf"), std::string("..dsf")})
        EXPECT_EQ(checkExpanded(good), "") << good;
}

class Plan : public FolderTest {
protected:
    std::vector<std::string> outputs(const std::vector<BatchInput>& inputs)
    {
        error.clear();
        const auto items = planBatch(inputs, settings, error);
        EXPECT_EQ(items.has_value(), error.empty());
        std::vector<std::string> paths;
        for (const BatchItem& item : items.value_or(std::vector<BatchItem>())) paths.push_back(item.output);
        return paths;
    }
    /// Both inputs are named in the reason.
    void expectClash(const std::vector<BatchInput>& inputs)
    {
        EXPECT_TRUE(outputs(inputs).empty());
        for (const BatchInput& input : inputs)
            EXPECT_NE(error.find("\"" + input.path + "\""), std::string::npos) << error;
    }
    ConversionSettings settings;
    std::string error;
};

TEST_F(Plan, MirrorsFolders)
{
    using Paths = std::vector<std::string>;
    const std::vector<BatchInput> inputs = {{"m/a.flac", ""}, {"m/CD1/a.flac", "CD1"}, {"m/CD1/x/a.flac", "CD1/x"}};
    EXPECT_EQ(outputs(inputs), (Paths{"./output/a.dsf", "./output/CD1/a.dsf", "./output/CD1/x/a.dsf"}));
    settings.outputDirectory = "out/";
    settings.batchFormat = "flac";
    settings.namingPattern = "{ext}/{track:2} {input}";
    EXPECT_EQ(outputs(inputs), (Paths{"out/flac/01 a", "out/CD1/flac/02 a", "out/CD1/x/flac/03 a"}));
    EXPECT_EQ(outputs({{"x/no-extension", ""}, {"x/.hidden.wav", ""}}),
              (Paths{"out/flac/01 no-extension", "out/flac/02 .hidden"}));
}

TEST_F(Plan, RefusesTwoThatWouldWriteOneFile)
{
    expectClash({{"a/song.wav", ""}, {"b/song.flac", ""}});
    expectClash({{"a/song.wav", ""}, {"b/SONG.wav", ""}});
    expectClash({{"a/x.wav", "CD"}, {"b/x.wav", "cd"}});
    EXPECT_EQ(outputs({{"a/song.wav", ""}, {"b/song2.wav", ""}, {"c/song.wav", "c"}}).size(), 3u);
    settings.namingPattern = "{track}";
    EXPECT_EQ(outputs({{"song.wav", ""}, {"song.wav", ""}}).size(), 2u);
    settings.namingPattern = "{input}/x";
    EXPECT_TRUE(outputs({{"in/...wav", ""}}).empty()) << "the stem is \"..\"";
}

TEST_F(Plan, RefusesToOverwriteAnInput)
{
    save("in/song.wav");
    save("in/Other.wav");
    std::filesystem::create_directory_symlink(at("in"), at("alias"));
    settings.batchFormat = "wav";
    settings.outputDirectory = at("alias");
    expectClash({{at("in/song.wav"), ""}});
    settings.outputDirectory = at("out");
    EXPECT_EQ(outputs({{at("in/song.wav"), ""}}).size(), 1u);
}

// N shards together are the batch, each item once and with the number of the whole.
TEST(Shards, PartTheBatch)
{
    std::vector<BatchItem> items;
    for (std::size_t i = 1; i <= 11; ++i) items.push_back({i, {}, {}});
    for (const std::size_t n : {1u, 2u, 3u, 11u, 20u}) {
        std::multiset<std::size_t> numbers;
        for (std::size_t k = 1; k <= n; ++k)
            for (const BatchItem& item : ofShard(items, k, n)) numbers.insert(item.number);
        EXPECT_EQ(numbers.size(), 11u);
        EXPECT_EQ(std::set(numbers.begin(), numbers.end()).size(), 11u);
    }
    EXPECT_EQ(ofShard(items, 2, 5).back().number, 7u);
    std::size_t k = 0, n = 0;
    EXPECT_TRUE(parseShard("2/5", k, n));
    EXPECT_TRUE(k == 2 && n == 5);
    for (const char* bad : {"", "/", "1", "0/3", "4/3", "1/", "/3", "-1/3", "+1/3", "1/3x", "1/2/3", " 1/3", "1/10000",
                            "1/0", "99999999999999999999/99999999999999999999"})
        EXPECT_FALSE(parseShard(bad, k, n)) << bad;
    EXPECT_TRUE(k == 2 && n == 5);
}

} // namespace
} // namespace tesk
