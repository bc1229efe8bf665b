#include "container/id3_tag.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <string>

namespace tesk {
namespace {

/// Frame bodies by identifier, from the tag's own sizes; the order of the frames in `order`.
std::map<std::string, std::string> frames(const std::vector<std::uint8_t>& tag, std::string& order)
{
    std::map<std::string, std::string> found;
    const std::string text(tag.begin(), tag.end());
    const std::size_t size = tag[6] << 21 | tag[7] << 14 | tag[8] << 7 | tag[9];
    EXPECT_EQ(size + 10, tag.size());
    for (std::size_t at = 10; at + 10 <= tag.size();) {
        const std::size_t length =
            static_cast<std::size_t>(tag[at + 4]) << 24 | tag[at + 5] << 16 | tag[at + 6] << 8 | tag[at + 7];
        order += text.substr(at, 4) + " ";
        found[text.substr(at, 4)] = text.substr(at + 10, length);
        at += 10 + length;
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
    MetadataRecord m;
    m.title = "Title";
    m.artist = "Artist";
    m.album = std::string(300, 'a'); // a size above 127 shows plain numbers
    m.track = 7;
    m.date = "1999";
    m.genre = "Jazz";
    m.comment = "well, \xC3\xBC";
    m.coverPath = fileOf("\x89PNG-not-really");
    CollectingReporter report;
    std::string order;
    auto f = frames(id3Tag(m, report), order);
    EXPECT_EQ(order, "TIT2 TPE1 TALB TRCK TDRC TCON COMM APIC TSSE TENC ");
    EXPECT_EQ(f["TIT2"], "\x03Title");
    EXPECT_EQ(f["TALB"].size(), 301U);
    EXPECT_EQ(f["TRCK"], "\x03"
                         "7");
    EXPECT_EQ(f["COMM"], std::string("\x03"
                                     "eng\0well, \xC3\xBC",
                                     13));
    EXPECT_EQ(f["APIC"], std::string("\x03image/png\0\x03\0\x89PNG-not-really", 28));
    EXPECT_EQ(f["TENC"], "\x03"
                         "Corvanta & Tesk Engine Audio Tools");
}

TEST(Id3Tag, LeavesOutWhatIsEmptyAndExistsOnlyForAUsersField)
{
    CollectingReporter report;
    MetadataRecord m;
    EXPECT_TRUE(id3Tag(m, report).empty());
    m.artist = "";
    EXPECT_TRUE(id3Tag(m, report).empty()) << "given, but given as empty";
    m.track = 1;
    std::string order;
    frames(id3Tag(m, report), order);
    EXPECT_EQ(order, "TRCK TSSE TENC ");
}

TEST(Id3Tag, CoversOfWrongSizesAreLeftOutWithAWord)
{
    for (const std::string& path :
         {fileOf(""), std::string("/nonexistent/cover.jpg"), fileOf(std::string(0x1000001, 'x'))}) {
        CollectingReporter report;
        MetadataRecord m;
        m.title = "t";
        m.coverPath = path;
        std::string order;
        frames(id3Tag(m, report), order);
        EXPECT_EQ(order, "TIT2 TSSE TENC ");
        EXPECT_NE(report.text.find("cover"), std::string::npos);
    }
    CollectingReporter report;
    MetadataRecord m;
    m.coverPath = fileOf(std::string("\x89PN", 3)); // too short for a PNG's signature
    std::string order;
    EXPECT_NE(frames(id3Tag(m, report), order)["APIC"].find("image/jpeg"), std::string::npos);
}

} // namespace
} // namespace tesk
