// Tags that other programs wrote into files of every format, and what damaged or hostile files do to us.
#include "input/tags/id3v2_tag.h"
#include "input/tags/input_tags.h"
#include "input/tags/legacy_text.h"
#include "tests/input/load_fixture.h"
#include "tests/tags/tag_writers.h"

namespace tesk {
namespace {

const std::string kTitle = "Préludes ♪ №1", kArtist = "Måns Ölund", kAlbum = "Álbum 한", kComment = "two\nlines";
const Bytes kPng = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0xFF, 0xE0, 0, 3};
const Bytes kJpeg = {0xFF, 0xD8, 0xFF, 0xE0, 0, 1, 2};

/// A file, the format it is to be told as, and what its writer can store beyond title, artist and comment.
struct Written {
    const char *file, *format;
    bool fields = true, gain = true;
};

const Written kFfmpegFiles[] = {
    {"info.wav", "WAV", true, false},
    {"info.rf64", "WAV", true, false},
    {"f.m4a", "M4A", true, false},
    {"id3.aiff", "AIFF"},
    {"v3.aiff", "AIFF"},
    {"f.flac", "FLAC"},
    {"f.mp3", "MP3"},
    {"v3.mp3", "MP3"},
    {"f.tta", "TTA"},
    {"f.wv", "WavPack"},
    {"f.caf", "Unknown"},
    {"f.opus", "OGG"},
    {"f.ogg", "OGG"},
    {"flac.oga", "OGG"},
    {"f.spx", "OGG"},
};

const Written kMutagenFiles[] = {
    // with a cover where there are fields
    {"id3.wav", "WAV"},     {"utf16.aiff", "AIFF"}, {"id3.tta", "TTA"},
    {"f.dsf", "DSF"},       {"id3.dff", "DFF"},     {"diin.dff", "DFF", false, false},
    {"ape.wv", "WavPack"},  {"ape.tta", "TTA"},     {"f.ape", "APE"},
    {"cover.m4a", "M4A"},   {"cover.opus", "OGG"},  {"cover.ogg", "OGG"},
    {"cover.flac", "FLAC"},
};

std::string text(const TagSet& tags, const char* name)
{
    const auto found = tags.texts.find(name);
    return found == tags.texts.end() ? "" : found->second;
}

TagSet fromMemory(const Bytes& bytes)
{
    MemorySource source(bytes);
    return readTagSet(source);
}

/// The files are written once for all tests.
class Tags : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        folder() = std::filesystem::temp_directory_path() / format("tesk-tags-%d", getpid());
        std::filesystem::create_directories(folder());
        for (const char* script : {kWriteByFfmpeg, kWriteByMutagen})
            ASSERT_EQ(std::system(("cd '" + folder().string() + "' && { " + script + "; }").c_str()), 0) << script;
    }
    static void TearDownTestSuite() { std::filesystem::remove_all(folder()); }
    static std::string at(const std::string& name) { return (folder() / name).string(); }

    void expectFields(const Written& file, bool hasCover) const
    {
        SCOPED_TRACE(file.file);
        const TagSet tags = readTagSet(at(file.file));
        EXPECT_EQ(tags.format, file.format);
        std::map<std::string, std::string> expected = {{"TITLE", kTitle}, {"ARTIST", kArtist}, {"COMMENT", kComment}};
        if (file.fields)
            expected.insert({{"ALBUM", kAlbum}, {"GENRE", "Baroque"}, {"DATE", "2019"}, {"TRACK", "3/12"}});
        for (const char* name : {"TITLE", "ARTIST", "ALBUM", "GENRE", "DATE", "TRACK", "COMMENT"})
            EXPECT_EQ(text(tags, name), expected[name]) << name;
        const ReplayGain& gain = tags.replayGain;
        EXPECT_EQ(gain.trackGainDb, file.gain ? std::optional(-6.5) : std::nullopt);
        EXPECT_EQ(gain.trackPeak, file.gain ? std::optional(0.5) : std::nullopt);
        EXPECT_EQ(gain.albumGainDb, file.gain ? std::optional(1.25) : std::nullopt);
        MetadataRecord record;
        CollectingReporter said;
        fillFromTags(tags, record, said);
        EXPECT_EQ(record.coverImage ? *record.coverImage : Bytes{}, hasCover ? kPng : Bytes{});
        EXPECT_EQ(said.text, "");
    }

private:
    static std::filesystem::path& folder()
    {
        static std::filesystem::path path;
        return path;
    }
};

TEST_F(Tags, EveryFormatByItsUsualWriters)
{
    for (const Written& file : kFfmpegFiles) expectFields(file, false);
    for (const Written& file : kMutagenFiles) expectFields(file, file.fields);
}

TEST_F(Tags, TheRankOfSeveralTagsInOneFile)
{
    const auto texts = [&](const char* file) { return readTagSet(at(file)).texts; };
    for (const char* file : {"both.wav", "behind.rf64"}) { // LIST INFO fills what ID3v2 leaves open
        auto tags = texts(file);
        EXPECT_EQ(tags["TITLE"], "id3") << file;
        EXPECT_EQ(tags["ARTIST"], kArtist) << file;
    }
    // ID3v2, APEv2, ID3v1.1; the description of another tag is second to a comment.
    const std::map<std::string, std::string> three = {{"TITLE", "id3"}, {"ARTIST", "ape"},     {"ALBUM", "vé"},
                                                      {"DATE", "1999"}, {"TRACK", "7"},        {"GENRE", "Rock"},
                                                      {"COMMENT", "c"}, {"DESCRIPTION", "ape"}};
    EXPECT_EQ(texts("three.mp3"), three);
    const ReplayGain gain = readTagSet(at("rva2.mp3")).replayGain;
    EXPECT_EQ(gain.trackGainDb, -3.5);
    EXPECT_NEAR(gain.trackPeak.value_or(0), 0.75, 1e-4);
    EXPECT_EQ(gain.albumGainDb, 1) << "TXXX wins over RVA2";
    EXPECT_FALSE(gain.albumPeak.has_value());

    std::ifstream genres(at("genres"));
    int count = 0;
    for (std::string name; std::getline(genres, name); ++count)
        EXPECT_EQ(genreText("(" + std::to_string(count) + ")"), name);
    EXPECT_EQ(count, 192);
    for (const char* other : {"(192)", "4294967295", "(RX)", "(17", "((I)"})
        EXPECT_EQ(genreText(other), other[1] == '(' ? other + 1 : other);
}

/// One ID3v2 frame; flags as the version has them.
Bytes frame(int version, const std::string& id, const Bytes& body, unsigned flags = 0)
{
    ByteWriter out(ByteOrder::big);
    const auto size = static_cast<std::uint32_t>(body.size());
    out.tag(id);
    if (version == 2) return out.u8(0).u16(static_cast<std::uint16_t>(size)).raw(body).take();
    out.u32(size).u16(static_cast<std::uint16_t>(flags)).raw(body); // a plain number: ours, in version 2.4 too
    return out.take();
}

Bytes id3(int version, unsigned flags, const std::vector<Bytes>& parts)
{
    Bytes body;
    for (const Bytes& part : parts) body.insert(body.end(), part.begin(), part.end());
    ByteWriter out(ByteOrder::big);
    out.tag("ID3").u8(static_cast<std::uint8_t>(version)).u8(0).u8(static_cast<std::uint8_t>(flags));
    for (int shift = 21; shift >= 0; shift -= 7) out.u8((body.size() >> shift) & 0x7F);
    return out.raw(body).take();
}

Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

TEST(TagBlocks, Id3v2ThatTheJudgesDoNotWrite)
{
    const std::string longText(300, 'x');
    const auto T = [](const std::string& text) { return bytesOf(std::string(1, '\0') + text); };
    const Bytes utf16 = {1, 0xFF, 0xFE, 'o', 0, 0x3D, 0xD8, 0x00, 0xDE, 0x3D, 0xD8}; // U+1F600, then half a character
    Bytes wide = {1, 0xFE, 0xFF}; // zeros all over: none of them is padding
    for (const char x : longText) wide.insert(wide.end(), {0, static_cast<std::uint8_t>(x)});
    const struct {
        const char* what;
        Bytes tag;
        std::map<std::string, std::string> texts;
    } cases[] = {
        {"2.2",
         id3(2, 0, {frame(2, "TT2", T("old")), frame(2, "TYE", T("1987")), frame(2, "TCO", T("(17)Hard"))}),
         {{"TITLE", "old"}, {"DATE", "1987"}, {"GENRE", "Hard"}}},
        {"2.3 date", id3(3, 0, {frame(3, "TDAT", T("3112")), frame(3, "TYER", T("1987"))}), {{"DATE", "1987-12-31"}}},
        {"2.3 unsynchronised",
         id3(3, 0x80, {frame(3, "TIT2", {0, 0xFF, 0xFE}), frame(3, "TPE1", {0, 0xFF, 'a'})}),
         {{"TITLE", "ÿþ"}, {"ARTIST", "ÿa"}}},
        {"2.3 extended header",
         id3(3, 0x40, {{0, 0, 0, 6, 0, 0, 0, 0, 0, 0}, frame(3, "TIT2", T("t"))}),
         {{"TITLE", "t"}}},
        {"2.4 extended header", id3(4, 0x40, {{0, 0, 0, 6, 1, 0}, frame(4, "TIT2", T("t"))}), {{"TITLE", "t"}}},
        {"2.4 plain sizes",
         id3(4, 0, {frame(4, "TALB", T(longText)), frame(4, "TIT2", T("t")), Bytes(20)}),
         {{"ALBUM", longText}, {"TITLE", "t"}}},
        {"2.4 plain sizes and zeros",
         id3(4, 0, {frame(4, "TALB", wide), frame(4, "TIT2", T("t")), Bytes(20)}),
         {{"ALBUM", longText}, {"TITLE", "t"}}},
        {"2.4 frame flags", // in a group, with a length, unsynchronised; then compressed, then encrypted
         id3(4, 0,
             {frame(4, "TIT2", {9, 0, 0, 0, 3, 3, 0xC3, 0xBF, 0xFF, 0, 'b'}, 0x43), frame(4, "TPE1", T("z"), 0x08),
              frame(4, "TALB", T("z"), 0x04)}),
         {{"TITLE", "ÿ\xEF\xBF\xBD"
                    "b"}}},
        {"a peak without its bits",
         id3(3, 0, {frame(3, "RVA2", {'t', 'r', 'a', 'c', 'k', 0, 1, 0, 0, 99, 1, 2, 3, 4})}),
         {}},
        {"half a surrogate", id3(3, 0, {frame(3, "TIT2", utf16)}), {{"TITLE", "o😀\xEF\xBF\xBD"}}},
        {"several values", id3(4, 0, {frame(4, "TPE1", bytesOf({"\3one\0two", 8}))}), {{"ARTIST", "one"}}},
        {"longer than the tag",
         id3(3, 0, {frame(3, "TIT2", T("t")), {'T', 'P', 'E', '1', 0x7F, 0, 0, 0, 0, 0, 3, 'a'}}),
         {{"TITLE", "t"}}},
    };
    for (const auto& c : cases) {
        TagSet tags;
        readId3v2(c.tag, tags);
        EXPECT_EQ(tags.texts, c.texts) << c.what;
    }
}

TEST(TagText, IsCleanUtf8)
{
    const std::pair<std::string, std::string> cases[] = {
        {"a\xFF"
         "b",
         "a\xEF\xBF\xBD"
         "b"},
        {std::string("one\0two", 7), "one"},
        {"\x1B[31mred\x7F\xC2\x9B"
         "1m\tx",
         "[31mred1m\tx"},
        {"a\r\nb\rc\nd", "a\nb\nc\nd"},
        {std::string(kLongestText - 1, 'a') + "é", std::string(kLongestText - 1, 'a')},
    };
    for (const auto& [dirty, clean] : cases) EXPECT_EQ(cleanText(dirty), clean);
}

TEST(ReplayGainTags, Numbers)
{
    const std::pair<const char*, double> good[] = {{"-6.50 dB", -6.5}, {" +1,25DB ", 1.25}, {"0", 0},    {".5", 0.5},
                                                   {"-1000", -1000},   {"7.5e-1", 0.75},    {"3. db", 3}};
    for (const auto& [text, value] : good) EXPECT_EQ(parseGainNumber(text), value) << text;
    for (const char* text :
         {"", "dB", "nan", "inf dB", "0x10", "1000.1", "1e999", "+-3", "++3", "-+3", "1,2,3", "6 dBFS", "six"})
        EXPECT_EQ(parseGainNumber(text), std::nullopt) << text;
}

TEST(ReplayGainTags, ReplayGainWinsOverR128InAnyOrder)
{
    const std::pair<const char*, const char*> tags[] = {
        {"r128_track_gain", "-1536"}, {"Replaygain_Track_Gain", "-2 dB"},  {"R128_ALBUM_GAIN", "256"},
        {"R128_ALBUM_GAIN", "512"},   {"REPLAYGAIN_TRACK_PEAK", "0.0000"}, {"REPLAYGAIN_ALBUM_PEAK", "1.02"}};
    for (const bool backwards : {false, true}) {
        ReplayGain gain;
        for (std::size_t i = 0; i < std::size(tags); ++i) {
            const auto& [name, value] = tags[backwards ? std::size(tags) - 1 - i : i];
            takeReplayGainTag(name, value, gain);
        }
        EXPECT_EQ(gain.trackGainDb, -2);
        EXPECT_EQ(gain.albumGainDb, backwards ? 7 : 6) << "the first of its kind, 5 dB up";
        EXPECT_EQ(gain.trackPeak, std::nullopt);
        EXPECT_EQ(gain.albumPeak, 1.02);
    }
    for (const char* bad : {"-6.5", "40000", "1e2", ""}) {
        ReplayGain gain;
        takeReplayGainTag("R128_TRACK_GAIN", bad, gain);
        EXPECT_TRUE(gain.empty()) << bad;
    }
}

TEST(FillFromTags, TheRecordComesFirst)
{
    TagSet tags;
    tags.texts = {{"TITLE", "t"}, {"ARTIST", "a"}, {"WORK", "w"}, {"TRACK", "3/12"}};
    tags.pictures = {{kJpeg, false}, {kPng, true}};
    MetadataRecord record;
    record.artist = ""; // given as empty
    record.coverPath = "mine.jpg";
    CollectingReporter said;
    fillFromTags(tags, record, said);
    EXPECT_EQ(record.title, "t");
    EXPECT_EQ(record.artist, "");
    EXPECT_EQ(record.work, "w");
    EXPECT_EQ(record.album, std::nullopt);
    EXPECT_FALSE(record.coverImage);
    record.coverPath.reset();
    record.track = 9;
    fillFromTags(tags, record, said);
    EXPECT_EQ(*record.coverImage, kPng) << "the front cover, not the first picture";
    EXPECT_EQ(record.track, 9);
    EXPECT_EQ(said.text, "");
    const std::pair<const char*, std::optional<int>> tracks[] = {
        {"998", 998}, {" 04", 4}, {"+1/2", 1}, {"7 of 9", 7},         {"0", {}},
        {"999", {}},  {"-1", {}}, {"A1", {}},  {"99999999999/1", {}}, {"/12", {}}};
    for (const auto& [text, number] : tracks) {
        tags.texts["TRACK"] = text;
        MetadataRecord fresh;
        fillFromTags(tags, fresh, said);
        EXPECT_EQ(fresh.track, number) << text;
    }
}

TEST(FillFromTags, UnusableCoversAreLeftOutAloud)
{
    Bytes largest = kJpeg;
    largest.resize(kLargestCover);
    Bytes tooLarge = largest;
    tooLarge.push_back(0);
    const std::pair<Bytes, const char*> cases[] = {{{}, "is empty"},
                                                   {tooLarge, "is larger than 16 MiB"},
                                                   {bytesOf("RIFF....WEBP"), "is no JPEG or PNG"},
                                                   {largest, nullptr}};
    for (const auto& [image, fault] : cases) {
        TagSet tags;
        addPicture(tags, image, true);
        addPicture(tags, kPng, false);
        MetadataRecord record;
        CollectingReporter said;
        fillFromTags(tags, record, said);
        EXPECT_EQ(record.coverImage == nullptr, fault != nullptr);
        EXPECT_NE(said.text.find(fault ? fault : ""), std::string::npos) << said.text;
        EXPECT_EQ(std::count(said.text.begin(), said.text.end(), '\n'), fault ? 1 : 0) << said.text;
    }
}

TEST_F(Tags, TheReportSaysWhatWasFound)
{
    CollectingReporter report;
    const auto said = [&](const char* file, MetadataRecord record) {
        report.text.clear();
        read_input_tags(at(file), record, report);
        return report.text.substr(report.text.find('\t') + 1);
    };
    MetadataRecord given;
    given.title = given.artist = given.album = given.genre = given.date = given.comment = "mine";
    given.track = 1;
    EXPECT_EQ(said("f.flac", {}), "read from the input (FLAC): title, artist, album, genre, date, comment, track\n");
    EXPECT_NE(said("f.flac", given).find("none for a field that is still open"), std::string::npos);
    EXPECT_EQ(said("bare.wav", {}), "the input (WAV) has no tags\n");
    EXPECT_EQ(said("missing", {}),
              "tags of this kind of file are not read; the output gets only those of the options\n");
}

/// What must hold of any set, whatever the file was.
void expectSane(const TagSet& tags, const std::string& what)
{
    for (const auto& [name, text] : tags.texts) {
        ASSERT_TRUE(isUtf8(text) && !text.empty() && text.size() <= kLongestText) << what << ": " << name;
        ASSERT_EQ(cleanText(text), text) << what << ": " << name;
    }
    for (const TagPicture& picture : tags.pictures) ASSERT_LE(picture.image.size(), kLargestCover + 1) << what;
    for (const auto& gain : {tags.replayGain.trackGainDb, tags.replayGain.albumGainDb})
        ASSERT_LE(std::abs(gain.value_or(0)), 1000) << what;
}

TEST_F(Tags, CutAndFlippedFiles)
{
    std::mt19937 random(7);
    for (const Written& file : kMutagenFiles) {
        const Bytes whole = contents(at(file.file));
        for (int i = 0; i < 300; ++i) { // most of the damage goes where the tags are
            Bytes damaged = whole;
            if (i % 3 == 0) damaged.resize(random() % whole.size());
            for (int flips = i % 3 * 4; flips > 0; --flips) {
                const std::size_t reach = std::min<std::size_t>(whole.size(), 1500);
                const std::size_t at = random() % reach;
                damaged[random() % 2 ? at : whole.size() - 1 - at] ^= static_cast<std::uint8_t>(1u << random() % 8);
            }
            expectSane(fromMemory(damaged), file.file + std::string(" ") + std::to_string(i));
        }
    }
}

/// An APEv2 tag with whatever its footer claims.
Bytes apeTag(const Bytes& items, std::uint32_t size, std::uint32_t count, std::uint32_t flags = 0)
{
    ByteWriter out(ByteOrder::little);
    out.tag("MAC ").raw(items).tag("APETAGEX").u32(2000).u32(size).u32(count).u32(flags).u64(0);
    return out.take();
}

TEST(TagBlocks, LyingNumbers)
{
    ByteWriter item(ByteOrder::little), lying(ByteOrder::little);
    item.u32(1).u32(0).tag({"Title\0t", 7});
    const Bytes good = item.take();
    lying.raw(good).u32(0xFFFFFFF0).u32(0).tag({"Artist\0x", 8});
    const Bytes bad = lying.take();
    const auto size = [](const Bytes& items) { return static_cast<std::uint32_t>(items.size() + 32); };
    EXPECT_EQ(text(fromMemory(apeTag(good, size(good), 0xFFFFFFFF)), "TITLE"), "t");
    EXPECT_EQ(fromMemory(apeTag(bad, size(bad), 2)).texts, (std::map<std::string, std::string>{{"TITLE", "t"}}));
    for (const std::uint32_t claimed : {0u, 31u, 32u, 5000u, 0xFFFFFFFFu})
        EXPECT_TRUE(fromMemory(apeTag(good, claimed, 1)).texts.empty()) << claimed;
    EXPECT_TRUE(fromMemory(apeTag(good, size(good), 1, 0x20000000)).texts.empty()) << "a header is no footer";

    ByteWriter nested(ByteOrder::big); // boxes within boxes, each of which reaches to the end
    nested.u32(16).tag("ftypM4A ").u32(0);
    for (int i = 0; i < 100000; ++i) nested.u32(i % 2 ? 0 : 8 * (100000 - static_cast<std::uint32_t>(i))).tag("moov");
    ByteWriter wide(ByteOrder::big);
    wide.tag("caff").u32(0x10000).tag("info").u64(0xFFFFFFFFFFFFFFFF).u32(0xFFFFFFFF).tag({"title\0t\0artist", 14});
    ByteWriter vorbis(ByteOrder::little);
    vorbis.tag("fLaC").u32(0xFFFFFF84).u32(0).u32(0xFFFFFFFF).u32(7).tag("TITLE=t").u32(0xFFFFFFFF).tag("ARTIST=a");
    EXPECT_TRUE(fromMemory(nested.take()).texts.empty());
    EXPECT_EQ(text(fromMemory(wide.take()), "TITLE"), "t");
    EXPECT_EQ(fromMemory(vorbis.take()).texts, (std::map<std::string, std::string>{{"TITLE", "t"}}));
}

} // namespace
} // namespace tesk
