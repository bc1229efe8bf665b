#include "container/output_file.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace tesk {
namespace {

namespace fs = std::filesystem;

class OutputFileTest : public testing::Test {
protected:
    void SetUp() override
    {
        folder = fs::path(testing::TempDir()) /
                 ("output_" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(folder);
        fs::create_directories(folder);
    }
    std::string path(const char* name) const { return (folder / name).string(); }
    static std::string content(const std::string& file)
    {
        std::stringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }
    std::size_t files() const { return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {})); }

    fs::path folder;
    std::string error;
};

TEST_F(OutputFileTest, AppearsAtTheEndAndReplacesInOneStep)
{
    std::ofstream(path("x.dsf")) << "old";
    OutputFile file;
    ASSERT_TRUE(file.open(path("x.dsf"), error)) << error;
    std::fputs("new", file.stream());
    EXPECT_EQ(content(path("x.dsf")), "old");
    ASSERT_TRUE(file.commit(error)) << error;
    EXPECT_EQ(content(path("x.dsf")), "new");
    EXPECT_EQ(files(), 1U);
}

TEST_F(OutputFileTest, ARunThatEndsWithoutCommitLeavesWhatStoodThere)
{
    std::ofstream(path("x.dsf")) << "old";
    {
        OutputFile file;
        ASSERT_TRUE(file.open(path("x.dsf"), error));
        std::fputs("half", file.stream());
    }
    EXPECT_EQ(content(path("x.dsf")), "old");
    EXPECT_EQ(files(), 1U);
}

TEST_F(OutputFileTest, FollowsLinksAndKeepsPermissions)
{
    std::ofstream(path("real.dsf")) << "old";
    fs::permissions(path("real.dsf"), fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink("real.dsf", path("link.dsf"));
    OutputFile file;
    ASSERT_TRUE(file.open(path("link.dsf"), error));
    std::fputs("new", file.stream());
    ASSERT_TRUE(file.commit(error));
    EXPECT_TRUE(fs::is_symlink(path("link.dsf")));
    EXPECT_EQ(content(path("real.dsf")), "new");
    EXPECT_EQ(fs::status(path("real.dsf")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(OutputFileTest, DevicesAreWrittenDirectlyAndNeverReplaced)
{
    fs::create_symlink("/dev/full", path("full.dsf"));
    OutputFile file;
    ASSERT_TRUE(file.open(path("full.dsf"), error));
    EXPECT_TRUE(file.direct());
    std::fputs("x", file.stream());
    EXPECT_FALSE(file.commit(error));
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    EXPECT_TRUE(fs::is_symlink(path("full.dsf")));
}

TEST_F(OutputFileTest, SaysWhatStandsInTheWay)
{
    EXPECT_NE(outputObstacle(folder.string()).find("directory"), std::string::npos);
    EXPECT_NE(outputObstacle(path("none/x.dsf")).find("does not exist"), std::string::npos);
    std::ofstream(path("plain")) << "x";
    EXPECT_NE(outputObstacle(path("plain/x.dsf")).find("no folder"), std::string::npos);
    EXPECT_EQ(outputObstacle(path("x.dsf")), "");
}

} // namespace
} // namespace tesk
