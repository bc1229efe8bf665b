// Wildcards and folders become files.
#include "engine/batch/batch_inputs.h"
#include "platform/folders.h"
#include "tests/batch/folder_fixture.h"

#include <algorithm>

namespace tesk {
namespace {

using Names = std::vector<std::string>;

class Inputs : public FolderTest {
protected:
    /// The paths below the test's folder, each with its mirrored folder behind a bar.
    Names expand(const Names& given, bool recursive = false)
    {
        Names full;
        for (const std::string& name : given) full.push_back(at(name));
        std::vector<BatchInput> inputs;
        error.clear();
        notes.clear();
        const bool good = expandInputs(full, recursive, at("outputs"), inputs, notes, error);
        EXPECT_EQ(good, error.empty());
        Names names;
        for (const BatchInput& input : error.empty() ? inputs : std::vector<BatchInput>())
            names.push_back(input.path.substr(at("").size()) + (input.folder.empty() ? "" : "|" + input.folder));
        return names;
    }
    Names notes;
    std::string error;
};

TEST_F(Inputs, Wildcards)
{
    for (const char* name : {"d/b.wav", "d/a.wav", "d/A.wav", "d/10.wav", "d/9.wav", "d/.hid.wav", "d/x.txt",
                             "d/caf\xC3\xA9.wav", "d/[1].wav", "d/*.flac", "d/q.flac", "[e] *x/1.wav", "e/1.wav"})
        save(name);
    const std::string cafe = "d/caf\xC3\xA9.wav";
    const struct {
        const char* pattern;
        Names found;
    } cases[] = {{"d/*.wav", {"d/10.wav", "d/9.wav", "d/A.wav", "d/[1].wav", "d/a.wav", "d/b.wav", cafe}},
                 {"d/?.wav", {"d/9.wav", "d/A.wav", "d/a.wav", "d/b.wav"}},
                 {"d/caf?.wav", {cafe}}, // a character, not a byte
                 {"d/[a-b].wav", {"d/a.wav", "d/b.wav"}},
                 {"d/[!a-b0-9].wav", {"d/A.wav"}},
                 {"d/.*.wav", {"d/.hid.wav"}},
                 {"d/[1].wav", {"d/[1].wav"}},
                 {"d/*.flac", {"d/*.flac"}},
                 {"[e] *x/*.wav", {"[e] *x/1.wav"}}, // the folder as it is written
                 {"[e]/*.wav", {"e/1.wav"}},
                 {"?/[19].wav", {"d/9.wav", "e/1.wav"}},
                 {"d/missing.wav", {"d/missing.wav"}}}; // that item's failure
    for (const auto& c : cases) EXPECT_EQ(expand({c.pattern}), c.found) << c.pattern << ": " << error;
    for (const char* none : {"d/*.dsf", "x*/*.wav", "d/a.wav/*", "d/[z"}) {
        EXPECT_EQ(expand({none}), Names{}) << none;
        EXPECT_NE(error.find(at(none)), std::string::npos);
    }
    EXPECT_EQ(platform::expandWildcards(""), Names{});
    EXPECT_EQ(platform::expandWildcards("/"), Names{"/"});
}

TEST_F(Inputs, Folders)
{
    for (const char* name : {"m/10 b.FLAC", "m/2 a.wav", "m/cover.jpg", "m/.x.wav", "m/CD2/1.wv", "m/CD10/1.aiff",
                             "m/CD2/deep/1.tta", "m/.git/1.wav", "m/dir.wav/1.wav", "e/sub/1.wav"})
        save(name);
    EXPECT_EQ(expand({"m"}), (Names{"m/2 a.wav", "m/10 b.FLAC"}));
    EXPECT_EQ(notes, Names{});
    save("m/b.mp3");
    save("m/CD2/b.OGG");
    EXPECT_EQ(expand({"m"}), (Names{"m/2 a.wav", "m/10 b.FLAC"}));
    EXPECT_EQ(notes.size(), 1u) << "music must not stay behind without a word";
    EXPECT_EQ(expand({"m/"}, true), (Names{"m/2 a.wav", "m/10 b.FLAC", "m/CD2/1.wv|CD2", "m/CD2/deep/1.tta|CD2/deep",
                                           "m/CD10/1.aiff|CD10", "m/dir.wav/1.wav|dir.wav"}));
    EXPECT_EQ(expand({"m/CD*"}), (Names{"m/CD10/1.aiff", "m/CD2/1.wv"}));
    for (const bool recursive : {false, true}) {
        EXPECT_EQ(expand({"e"}, recursive).size(), recursive ? 1u : 0u);
        EXPECT_EQ(error.find(at("e")) != std::string::npos, !recursive);
    }
    std::filesystem::remove_all(at("e/sub"));
    EXPECT_EQ(expand({"m", "e"}, true), Names{});
    EXPECT_NE(error.find(at("e")), std::string::npos);
}

TEST_F(Inputs, LinksEndAndFilesCountOnce)
{
    save("m/a/1.wav");
    save("m/b/2.wav");
    std::filesystem::create_directory_symlink(at("m"), at("m/a/up"));
    std::filesystem::create_directory_symlink(at("m/b"), at("m/z"));
    std::filesystem::create_symlink(at("nowhere"), at("m/a/gone.wav"));
    EXPECT_EQ(expand({"m"}, true), (Names{"m/a/1.wav|a", "m/b/2.wav|b"}));
    // The broken link by its own name: that item's failure.
    EXPECT_EQ(expand({"m/a", "m/*/*.wav", "m/b"}), (Names{"m/a/1.wav", "m/a/gone.wav", "m/b/2.wav"}));
    EXPECT_EQ(expand({"m/b/2.wav", "m/b/2.wav", "m/b"}), (Names{"m/b/2.wav", "m/b/2.wav", "m/b/2.wav"}));
}

TEST_F(Inputs, NaturalOrderIsAnOrder)
{
    const Names sorted = {"",    "01", "1",    "2",     "10",      "99999999999999999999999", "A2", "A10", "B", "a",
                          "a 1", "a0", "a1b2", "a1b10", "\xC3\xA9"};
    for (std::size_t i = 0; i < sorted.size(); ++i)
        for (std::size_t j = 0; j < sorted.size(); ++j)
            EXPECT_EQ(naturallyBefore(sorted[i], sorted[j]), i < j) << sorted[i] << " " << sorted[j];
}

TEST_F(Inputs, MakingFolders)
{
    save("file");
    EXPECT_TRUE(platform::makeFolders(at("a/b//c/")));
    EXPECT_TRUE(platform::makeFolders(at("a/b/c")));
    EXPECT_EQ(platform::fileKind(at("a/b/c")), platform::FileKind::directory);
    EXPECT_FALSE(platform::makeFolders(at("file/x")));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(platform::makeFolders(at("file")));
}

} // namespace
} // namespace tesk
