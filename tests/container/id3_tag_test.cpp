#include "container/id3_tag.h"

#include "tests/container/writer_fixture.h"

#include <map>

namespace tesk {
namespace {

/// Frame bodies by identifier, from the tag's own sizes; the identifiers in their order under "".
std::map<std::string, std::string> frames(const MetadataRecord& metadata, std::string* says = nullptr)
{
    CollectingReporter report;
    const Buffer tag = id3Tag(metadata, report);
    if (says) *says = report.text;
    std::map<std::string, std::string> found;
    if (tag.empty()) return found;
    EXPECT_EQ((tag[6] << 21 | tag[7] << 14 | tag[8] << 7 | tag[9]) + 10U, tag.size());
    for (std::size_t at = 10, length = 0; at + 10 <= tag.size(); at += 10 + length) {
        length = static_cast<std::size_t>(bigEndian(tag, at + 4, 4));
        found[""] += letters(tag, at, 4) + " ";
        found[letters(tag, at, 4)] = letters(tag, at + 10, length);
    }
    return found;
}

std::string fileOf(const std::string& content)
{
    const std::string path = testing::TempDir() + "cover.bin";
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

TEST(Id3Tag, WritesEveryFieldInItsOrder)
{
    MetadataRecord m = allTags();
    m.album = std::string(300, 'a'); // a size above 127 shows plain numbers
    m.genre = "Jazz";
    m.coverPath = fileOf("\x89PNG-not-really");
    auto f = frames(m);
    EXPECT_EQ(f[""], "TIT2 TPE1 TALB TRCK TDRC TCON COMM APIC TSSE TENC ");
    EXPECT_EQ(f["TIT2"], "\x03Überfahrt");
    EXPECT_EQ(f["TALB"].size(), 301U);
    EXPECT_EQ(f["TRCK"], std::string("\x03") + "7");
    EXPECT_EQ(f["COMM"], std::string("\x03") + std::string("eng\0odd", 7));
    EXPECT_EQ(f["APIC"], std::string("\x03image/png\0\x03\0\x89PNG-not-really", 28));
    EXPECT_EQ(f["TENC"], std::string("\x03") + "Corvanta & Tesk Engine Audio Tools");
}

TEST(Id3Tag, LeavesOutWhatIsEmptyAndExistsOnlyForAUsersField)
{
    MetadataRecord m;
    EXPECT_TRUE(frames(m).empty());
    m.artist = "";
    EXPECT_TRUE(frames(m).empty()) << "given, but given as empty";
    m.track = 1;
    EXPECT_EQ(frames(m)[""], "TRCK TSSE TENC ");
}

TEST(Id3Tag, CoversOfWrongSizesAreLeftOutWithAWord)
{
    MetadataRecord m;
    for (const std::string& content : {std::string(), std::string("none"), std::string(0x1000001, 'x')}) {
        m.track = 1;
        m.coverPath = content == "none" ? "/nonexistent/cover.jpg" : fileOf(content);
        std::string says;
        EXPECT_EQ(frames(m, &says)[""], "TRCK TSSE TENC ");
        EXPECT_NE(says.find("cover"), std::string::npos);
    }
    m.coverPath = fileOf("\x89PN"); // too short for a PNG's signature
    EXPECT_NE(frames(m)["APIC"].find("image/jpeg"), std::string::npos);
}

} // namespace
} // namespace tesk
