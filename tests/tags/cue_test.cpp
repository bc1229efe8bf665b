// CUE sheets as others read them: sscanf their lines, iconv their encodings.
#include "engine/base/reporter.h"
#include "input/tags/cue_sheet.h"
#include "input/tags/legacy_text.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <iconv.h>
#include <random>
#include <unistd.h>

namespace tesk {
namespace {

CueSheet read(const std::string& text)
{
    CueSheet sheet;
    const bool found = parseCueText(text, sheet);
    EXPECT_EQ(found, !sheet.tracks.empty());
    for (std::size_t i = 0; i < sheet.tracks.size(); ++i)
        EXPECT_EQ(sheet.tracks[i].end, i + 1 < sheet.tracks.size() ? sheet.tracks[i + 1].start : 0) << i;
    return sheet;
}

/// The only track's start.
std::uint32_t startOf(const std::string& lines) { return read("TRACK 1 AUDIO\n" + lines).tracks.at(0).start; }

/// Nothing when the C library takes `text` for malformed.
std::optional<std::string> iconvTo(const char* to, const char* from, std::string text)
{
    std::string out(text.size() * 4 + 4, '\0');
    char *source = text.data(), *target = out.data();
    std::size_t left = text.size(), room = out.size();
    const iconv_t converter = iconv_open(to, from);
    const bool fine = iconv(converter, &source, &left, &target, &room) != static_cast<std::size_t>(-1);
    iconv_close(converter);
    out.resize(out.size() - room);
    return fine ? std::optional(out) : std::nullopt;
}

TEST(CueTimes, CountAndSaturate)
{
    const std::pair<const char*, std::uint32_t> cases[] = {
        {"INDEX 01 03:02:37", 8047956}, // 182 · 44100 + 37 · 44100 / 75
        {"INDEX 01 03:02:37\n INDEX 00 01:00:00\n INDEX 02 04:00:00", 8047956},
        {"INDEX 01 00:02:74", 88200 + 74 * 588},
        {"INDEX 01 99999999999:00:00", 0},
        {"INDEX 01 1623:11:41", 7304366 * 588u}, // the last CD frame that 32 bits hold
        {"INDEX 01 1623:11:42", 4294967295},
        {"INDEX 01 2147483647:2147483647:2147483647", 4294967295},
        {"INDEX 01 00:01:00\nINDEX 01", 44100},
        {"INDEX 01 00:01:00\nINDEX 4294967297 00:02:00", 44100},
        {"INDEX 01 00:01:00\nindex 01 00:02:00\nINDEX01 00:03:00\nREM INDEX 01 00:04:00", 44100},
    };
    for (const auto& [lines, start] : cases) EXPECT_EQ(startOf(lines), start) << lines;
}

TEST(CueLines, GoWhereTheyBelong)
{
    const CueSheet sheet =
        read("REM GENRE \"Modern Jazz\"\nREM DATE 1959\nREM DATE 2001\nREM COMMENT x\n"
             "REM REPLAYGAIN_ALBUM_GAIN -6.50 dB\nCATALOG 1\nPERFORMER \"Band\"\nTITLE \"Disc\"\n"
             "INDEX 01 00:09:00\nFILE \"a b.wav\" WAVE\nFILE my album.wav WAVE\nFILE c.wav\nFILE \"\" WAVE\n"
             " TRACK 07 AUDIO\n\t TITLE \"Se\tven\" x\n  TITLE bare\n  TITLE \"\"\n  PERFORMER \"Guest\n"
             "  FLAGS DCP\n  ISRC X\n  REM REPLAYGAIN_TRACK_GAIN \"+1.5 dB\"\n  INDEX 01 00:01:00\n"
             " TRACK AUDIO\n  TITLE \"Lost\"\n  INDEX 01 00:02:00\n"
             " TRACK 8\n  INDEX 01 00:03:00\n  SONGWRITER \"S\"\n");
    EXPECT_EQ(sheet.title + "|" + sheet.performer + "|" + sheet.genre + "|" + sheet.date, "Disc|Band|Modern Jazz|1959");
    EXPECT_EQ(sheet.files, (std::vector<std::string>{"a b.wav", "my album.wav", "c.wav"}));
    EXPECT_EQ(sheet.replayGain.albumGainDb, -6.5);
    EXPECT_FALSE(sheet.replayGain.trackGainDb);
    ASSERT_EQ(sheet.tracks.size(), 2u);
    const CueTrack &seven = sheet.tracks[0], &eight = sheet.tracks[1];
    EXPECT_EQ(seven.title + "|" + seven.performer, "Se\tven|Guest");
    EXPECT_EQ(seven.replayGain.trackGainDb, 1.5);
    EXPECT_EQ(seven.start, 44100u);
    EXPECT_EQ(eight.title + "|" + eight.performer, "|");
    EXPECT_EQ(eight.start, 3 * 44100u);
    EXPECT_EQ(eight.end, 0u);
}

TEST(CueLines, AreReadAsScanfReadsThem)
{
    std::mt19937 random(2);
    const std::string soup = " \t\"\"aZ09:-+\xC3\xA9";
    for (int round = 0; round < 20000; ++round) {
        std::string rest;
        for (unsigned i = random() % 14; i > 0; --i) rest += soup[random() % (soup.size() - 2)];
        char text[256] = "", word[32] = "";
        int number = -1;
        std::sscanf((" TITLE " + rest).c_str(), " TITLE \"%255[^\"]\"", text);
        EXPECT_EQ(read("TITLE " + rest + "\nTRACK 1 AUDIO\n").title, text) << rest;
        std::sscanf(("TRACK " + rest).c_str(), " TRACK %d %15s", &number, word);
        const CueSheet sheet = read("TRACK " + rest + "\n"); // no number here is -1: there is no 1 in the soup
        EXPECT_EQ(sheet.tracks.empty() ? -1 : sheet.tracks[0].number, number) << rest;
        int m = 0, s = 0, f = 0;
        const bool isStart = std::sscanf(rest.c_str(), " %31s", word) == 1;
        const bool isTime = isStart && std::sscanf(word, "%d:%d:%d", &m, &s, &f) >= 2 && m >= 0 && s >= 0 && f >= 0;
        const std::int64_t start = isTime ? (m * 60LL + s) * 44100 + f * 588LL : isStart ? 0 : 44100;
        EXPECT_EQ(startOf("INDEX 1 0:1\nINDEX 1 " + rest), std::min<std::int64_t>(start, 4294967295)) << rest;
    }
}

TEST(CueLines, LongOnesAreCut)
{
    const std::string e = "\xC3\xA9", tail = "\nTRACK 1 AUDIO\n", blanks(10000, ' ');
    const std::pair<std::string, std::string> cases[] = {
        {"TITLE \"" + std::string(300, 'x') + "\"", std::string(255, 'x')},
        {"TITLE \"" + std::string(254, 'x') + e + "\"", std::string(254, 'x')},
        {"TITLE \"a\"\n" + blanks + "TITLE \"b\"", "a"}, // the rest of a long line is no line
        {std::string(1013, ' ') + "TITLE \"abcdef\"", "abc"},
        {std::string("TITLE \"a\0b\"\0TRACK 2 AUDIO", 26), "a"},
    };
    for (const auto& [text, title] : cases) EXPECT_EQ(read(text + tail).title, title) << text;
    EXPECT_EQ(read("TITLE \"x" + std::string(300, '\xE9') + "\"" + tail).title.size(), 1 + 2 * 254u);
    EXPECT_EQ(read("FILE " + std::string(300, 'f') + " WAVE" + tail).files.at(0).size(), 255u);
}

TEST(CueSheets, OfAnySizeAreBounded)
{
    std::string many;
    for (int i = 0; i < 500; ++i) many += format("TRACK %d AUDIO\nINDEX 01 %d:00:00\n", i, i);
    EXPECT_EQ(cueFault(read(many)), "");
    EXPECT_EQ(read(many).tracks.at(499).start, 499 * 60 * 44100u);
    for (int i = 0; i < 20000; ++i) many += "TRACK 1 AUDIO\nFILE a WAVE\n";
    const CueSheet bounded = read(many + "INDEX 01 00:05:00\n");
    EXPECT_EQ(bounded.tracks.size(), 10000u);
    EXPECT_EQ(bounded.files.size(), 10000u);
    EXPECT_EQ(bounded.tracks.back().start, 0u); // the time is another track's

    const std::string track = "TRACK 1 AUDIO\n", path = testing::TempDir() + format("tesk-%d.cue", getpid());
    const std::string blanks((1u << 24) - track.size(), ' ');
    CueSheet sheet;
    const std::pair<std::string, bool> files[] = {
        {track + blanks, true}, {track + blanks + " ", false}, {"TITLE \"x\"\n", false}, {"", false}};
    for (const auto& [bytes, good] : files) {
        std::ofstream(path, std::ios::binary) << bytes;
        EXPECT_EQ(parse_cue(path, sheet), good) << bytes.size();
        EXPECT_EQ(sheet.tracks.empty(), !good);
    }
    std::remove(path.c_str());
    EXPECT_FALSE(parse_cue(path, sheet));
    EXPECT_FALSE(parse_cue(testing::TempDir(), sheet));
}

TEST(CueEncoding, EverySpellingOfASheetIsTheSame)
{
    std::string ansi;
    for (int c = 0x80; c < 0x100; ++c)
        if (c != 0x81 && c != 0x8D && c != 0x8F && c != 0x90 && c != 0x9D) ansi += static_cast<char>(c);
    const std::string performer = iconvTo("UTF-8", "CP1252", ansi.substr(0, 60)).value(),
                      title = iconvTo("UTF-8", "CP1252", ansi.substr(60)).value();
    for (const std::string end : {"\n", "\r\n", "\r"}) {
        const std::string sheet = "PERFORMER \"" + performer + "\"" + end + end + "TRACK 1 AUDIO" + end + "TITLE \"" +
                                  title + "\"" + end + "INDEX 01 00:01:00";
        const std::string spellings[] = {sheet, "\xEF\xBB\xBF" + sheet, iconvTo("CP1252", "UTF-8", sheet).value(),
                                         "\xFF\xFE" + iconvTo("UTF-16LE", "UTF-8", sheet).value() + "\n",
                                         "\xFE\xFF" + iconvTo("UTF-16BE", "UTF-8", sheet).value()};
        for (const std::string& spelling : spellings) {
            const CueSheet got = read(spelling);
            ASSERT_EQ(got.tracks.size(), 1u);
            EXPECT_EQ(got.performer, performer);
            EXPECT_EQ(got.tracks[0].title, title);
            EXPECT_EQ(got.tracks[0].start, 44100u);
        }
    }
    EXPECT_EQ(read("\xEF\xBB\xBFTITLE \"\xE9t\xC3\xA9\"\nTRACK 1 A").title, "\uFFFDt\u00E9");
    EXPECT_EQ(windows1252ToUtf8("\x81\x9D"), "\uFFFD\uFFFD");
}

TEST(LegacyText, AgreesWithIconv)
{
    std::string wide;
    for (std::uint32_t point = 0; point < 0x110000; ++point)
        if (point < 0xD800 || point > 0xDFFF)
            for (int shift = 0; shift < 32; shift += 8) wide += static_cast<char>(point >> shift);
    const std::string all = iconvTo("UTF-8", "UTF-32LE", wide).value();
    EXPECT_TRUE(isUtf8(all));
    EXPECT_EQ(repairUtf8(all), all);
    EXPECT_EQ(utf16ToUtf8(iconvTo("UTF-16LE", "UTF-8", all).value() + "x", ByteOrder::little), all);
    EXPECT_EQ(utf16ToUtf8(iconvTo("UTF-16BE", "UTF-8", all).value(), ByteOrder::big), all);
    EXPECT_EQ(utf16ToUtf8(std::string_view("\xD8\0\xD8\0\xDC\1\xDC\0\xDB\xFF", 10), ByteOrder::big),
              "\uFFFD\U00010001\uFFFD\uFFFD");
    EXPECT_EQ(utf16ToUtf8(std::string_view("\xD8\0\xDC", 3), ByteOrder::big), "\uFFFD"); // half a unit is none

    std::mt19937 random(3);
    const std::string edges =
        "az\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEE\xEF\xF0\xF1\xF3\xF4\xF5\xF8\xFF";
    for (int round = 0; round < 100000; ++round) {
        std::string bytes;
        for (unsigned i = 1 + random() % 5; i > 0; --i) bytes += edges[random() % edges.size()];
        ASSERT_EQ(isUtf8(bytes), iconvTo("UTF-32LE", "UTF-8", bytes).has_value()) << testing::PrintToString(bytes);
        ASSERT_TRUE(isUtf8(repairUtf8(bytes)));
    }
    const std::string text = "a\u00E9\u20AC\U0001F3B5";
    for (std::size_t n = 0; n <= text.size(); ++n) {
        const std::string_view kept = withoutBrokenEnd(std::string_view(text).substr(0, n));
        EXPECT_TRUE(isUtf8(kept) && n - kept.size() < 4 && (kept.size() == n || !isUtf8(text.substr(0, n)))) << n;
    }
}

TEST(CueFaults, AreTold)
{
    const std::string two = "TRACK 2 AUDIO\nINDEX 01 03:00:00\n";
    const std::pair<std::string, const char*> cases[] = {
        {"TRACK 0 AUDIO\n" + two + "TRACK 998 AUDIO\nINDEX 01 03:00:01\n", ""},
        {two + "TRACK 3 AUDIO\nINDEX 01 02:10:00\n", "track 3 starts at 02:10:00, before track 2 (03:00:00)"},
        {two + "TRACK 3 AUDIO\nINDEX 01 03:00:00\n", "track 3 starts where track 2 does (03:00:00)"},
        {two + "TRACK 2 AUDIO\nINDEX 01 04:00:00\n", "track number 2 occurs twice"},
        {"TRACK -1 AUDIO\n" + two, "track number -1 is not within 0-998"},
        {"TRACK 999 AUDIO\n", "track number 999 is not within 0-998"},
        {"FILE a WAVE\n" + two + "FILE b WAVE\nTRACK 3 AUDIO\nINDEX 01 00:00:05\n",
         "track 3 starts at 00:00:05, before track 2 (03:00:00); the sheet is for 2 files, and only one input can be "
         "cut"},
    };
    for (const auto& [text, fault] : cases) EXPECT_EQ(cueFault(read(text)), fault);
}

} // namespace
} // namespace tesk
