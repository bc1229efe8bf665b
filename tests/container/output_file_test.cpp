#include "container/output_file.h"

#include "tests/container/writer_fixture.h"

namespace tesk {
namespace {

namespace fs = std::filesystem;

class OutputFileTest : public JudgedTest {
protected:
    std::string path(const char* name) const { return (folder_ / name).string(); }
    std::ptrdiff_t files() const { return std::distance(fs::directory_iterator(folder_), {}); }
    std::string content(const char* name) const
    {
        std::ifstream in(path(name));
        return {std::istreambuf_iterator<char>(in), {}};
    }

    std::string error;
};

TEST_F(OutputFileTest, AppearsAtTheEndInOneStepOrNotAtAll)
{
    for (const bool committed : {false, true}) {
        save("x.dsf", {'o', 'l', 'd'});
        {
            OutputFile file;
            ASSERT_TRUE(file.open(path("x.dsf"), error)) << error;
            std::fputs("new", file.stream());
            EXPECT_EQ(content("x.dsf"), "old");
            EXPECT_TRUE(!committed || file.commit(error)) << error;
        }
        EXPECT_EQ(content("x.dsf"), committed ? "new" : "old");
        EXPECT_EQ(files(), 1);
    }
}

TEST_F(OutputFileTest, FollowsLinksAndKeepsPermissions)
{
    const auto ownersOnly = fs::perms::owner_read | fs::perms::owner_write;
    save("real.dsf", {'o', 'l', 'd'});
    fs::permissions(path("real.dsf"), ownersOnly);
    fs::create_symlink("real.dsf", path("link.dsf"));
    OutputFile file;
    ASSERT_TRUE(file.open(path("link.dsf"), error));
    std::fputs("new", file.stream());
    ASSERT_TRUE(file.commit(error));
    EXPECT_TRUE(fs::is_symlink(path("link.dsf")));
    EXPECT_EQ(content("real.dsf"), "new");
    EXPECT_EQ(fs::status(path("real.dsf")).permissions(), ownersOnly);
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
    save("plain", {'x'});
    EXPECT_NE(outputObstacle(folder_.string()).find("directory"), std::string::npos);
    EXPECT_NE(outputObstacle(path("none/x.dsf")).find("does not exist"), std::string::npos);
    EXPECT_NE(outputObstacle(path("plain/x.dsf")).find("no folder"), std::string::npos);
    EXPECT_EQ(outputObstacle(path("x.dsf")), "");
}

} // namespace
} // namespace tesk
