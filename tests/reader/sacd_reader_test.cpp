// Disc images: every layout read back byte for byte, and every kind of damage.
#include "tests/reader/sacd_image.h"

#include "container/dst/dst_encoder.h"
#include "container/reader/sacd_reader.h"
#include "container/reader/sacd_text.h"
#include "tests/reader/read_back.h"

#include <gtest/gtest.h>
#include <numeric>
#include <random>

namespace tesk {
namespace {

using disc::Area;
using disc::Image;

Buffer noise(std::size_t bytes, std::uint32_t seed)
{
    std::mt19937 random(seed);
    Buffer made(bytes);
    for (auto& byte : made) byte = static_cast<std::uint8_t>(1 + random() % 255);
    return made;
}

/// Pauses before track 1 and before track 3; the last track ends before the area does.
Area plainArea(int format)
{
    Area area{.format = format};
    for (std::uint32_t f = 0; f < 20; ++f) area.frames.push_back(noise(9408, f));
    area.tracks = {{.start = 1, .frames = 4}, {.start = 5, .frames = 3}, {.start = 10, .frames = 9}};
    return area;
}

/// Noise stored, and patterns coded, some of them very short.
Area codedArea(std::uint32_t channels, std::vector<Buffer>& plain)
{
    Area area{.multichannel = channels > 2, .format = 0, .channels = static_cast<int>(channels)};
    DstEncoder encoder;
    EXPECT_TRUE(encoder.init({.channels = channels, .bytesPerChannel = 4704, .predictionOrder = 16}));
    for (std::uint32_t f = 0; f < 20; ++f) {
        plain.push_back(noise(channels * 4704u, f));
        const bool coded = f % 3 == 0 || f > 12;
        for (std::size_t i = 0; coded && i < plain[f].size(); ++i) plain[f][i] = i % 37 < f && f <= 12 ? 0x69 : 0x96;
        area.frames.push_back(coded ? *encoder.encode(plain[f]) : plainDstFrame(plain[f]));
    }
    EXPECT_LT(area.frames[14].size(), 300u) << "several in a sector";
    area.tracks = plainArea(2).tracks;
    return area;
}

Buffer framesOf(const std::vector<Buffer>& frames, std::uint32_t begin, std::uint32_t end)
{
    return joined({frames.begin() + begin, frames.begin() + end});
}

struct Opened {
    CollectingReporter report;
    Buffer file;
    std::unique_ptr<SACDReader> reader;

    explicit Opened(Buffer bytes, SacdAreaChoice area = SacdAreaChoice::automatic) : file(std::move(bytes))
    {
        reader = SACDReader::open(std::make_unique<MemorySource>(file), {.area = area}, report);
    }
    bool said(const std::string& text) const { return report.text.find(text) != std::string::npos; }
    Buffer sound(unsigned track)
    {
        EXPECT_TRUE(reader && reader->selectTrack(track)) << report.text;
        return reader ? interleaved(readAll(*reader, 1000)) : Buffer();
    }
};

void expectPayload(Opened& disc, const std::vector<Buffer>& frames, const std::vector<disc::Track>& tracks)
{
    ASSERT_TRUE(disc.reader) << disc.report.text;
    const auto expectSound = [&](unsigned number, std::uint32_t begin, std::uint32_t end) {
        EXPECT_TRUE(disc.sound(number) == framesOf(frames, begin, end)) << "track " << number;
        EXPECT_EQ(disc.reader->source().samples, (end - begin) * 37632ull);
    };
    expectSound(0, tracks.front().start, tracks.back().start + tracks.back().frames);
    for (unsigned t = 0; t < tracks.size(); ++t)
        expectSound(t + 1, tracks[t].start, tracks[t].start + tracks[t].frames);
    EXPECT_FALSE(disc.reader->selectTrack(static_cast<unsigned>(tracks.size()) + 1));
    const std::string before = disc.report.text;
    disc.reader->reportProblems("disc");
    EXPECT_EQ(disc.report.text, before) << "nothing was wrong";
}

TEST(Sacd, PlainAreasOfEveryLayout)
{
    for (int i = 0; i < 72; ++i) {
        SCOPED_TRACE(i);
        Area area = plainArea(2 + i % 2);
        area.infoBytes = 3 + i / 2 % 2;
        area.supplementary = i / 4 % 2;
        area.rest = static_cast<Area::Rest>(i / 8 % 3);
        Image image{.areas = {area}, .sectorBytes = std::array{2048, 2054, 2064}[std::size_t(i) / 24]};
        disc::build(image);
        Opened disc(disc::fileOf(image));
        expectPayload(disc, area.frames, area.tracks);
        EXPECT_TRUE(disc.said(format("frame-info %d byte(s)", area.infoBytes)));
        EXPECT_EQ(disc.said("bytes behind its packets"), area.rest == Area::Rest::undeclared);
    }
}

TEST(Sacd, CodedAreas)
{
    std::vector<Buffer> stereo, five, six;
    const Area two = codedArea(2, stereo), areas[2] = {codedArea(5, five), codedArea(6, six)};
    for (const auto& [channels, frames] : {std::pair(6, &six), std::pair(5, &five)})
        for (const int infoBytes : {4, 3}) {
            Image image{.areas = {two, areas[channels - 5]}};
            for (Area& area : image.areas) area.infoBytes = infoBytes;
            image.areas[0].supplementary = infoBytes == 3;
            disc::build(image);
            Opened left(disc::fileOf(image)), right(left.file, SacdAreaChoice::multichannel);
            expectPayload(left, stereo, two.tracks);
            expectPayload(right, *frames, two.tracks);
            EXPECT_EQ(left.report.text + right.report.text, "");
            EXPECT_EQ(right.reader->source().channels, static_cast<std::uint32_t>(channels));
            EXPECT_TRUE(right.reader->source().dst && right.reader->disc().hasMultichannel);
        }
}

TEST(Sacd, RatesAndChannelCounts)
{
    const std::vector<std::uint32_t> base441 = {4, 5, 6, 8, 9, 10}, base48 = {11, 12, 13, 14, 15, 16};
    for (std::uint32_t code = 0; code < 256; ++code) {
        std::optional<std::uint32_t> rate;
        for (std::uint32_t i = 0; i < 6; ++i) {
            if (base441[i] == code) rate = 2822400u << i % 3;
            if (base48[i] == code) rate = 3072000u << i % 3;
        }
        EXPECT_EQ(sacdRate(static_cast<std::uint8_t>(code)), rate) << code;
        const bool kept = code == 5 || code == 6;
        EXPECT_EQ(sacdChannels(false, static_cast<std::uint8_t>(code)), kept ? code : 2);
        const auto multichannel = sacdChannels(true, static_cast<std::uint8_t>(code));
        EXPECT_EQ(multichannel.has_value(), code >= 1 && code <= 8);
        EXPECT_EQ(multichannel.value_or(2), kept ? code : 2);
    }
}

TEST(Sacd, TextsOfEveryKind)
{
    Image image{.areas = {plainArea(2)},
                .discTitle = "\x93\xFA\x96\x7B",
                .albumTitle = "not shown",
                .albumArtist = "A\tB ",
                .catalogue = "CAT 123         ",
                .charset = 3};
    auto& tracks = image.areas[0].tracks;
    tracks[0] = {1, 4, "\x82\xA0\x1F!", "someone", "GBABC0300001", 5};
    tracks[1].title = std::string(256, 'x');
    tracks[1].isrc = "short";
    disc::build(image);
    Opened disc(disc::fileOf(image));
    ASSERT_TRUE(disc.reader) << disc.report.text;
    EXPECT_EQ(disc.reader->disc().catalogueNumber, "CAT 123");
    const SacdTrack& first = disc.reader->area().tracks[0];
    EXPECT_EQ(first.metadata.title, "あ !");
    EXPECT_EQ(first.metadata.artist, "someone");
    EXPECT_EQ(first.metadata.album, "日本");
    EXPECT_EQ(first.metadata.genre, "Classical");
    EXPECT_EQ(first.metadata.date, "2003-11-05");
    EXPECT_EQ(first.metadata.track, 1);
    EXPECT_EQ(first.metadata.isrc, "GBABC0300001");
    const SacdTrack& second = disc.reader->area().tracks[1];
    EXPECT_EQ(second.metadata.title, std::nullopt) << "longer than a text can be";
    EXPECT_EQ(second.metadata.artist, "A B");
    EXPECT_EQ(second.metadata.genre, "Jazz");
    EXPECT_FALSE(second.metadata.isrc);
    const auto converted = [](const char* bytes, unsigned charset) { return sacdText(text(bytes), charset); };
    EXPECT_EQ(converted("a\xE9", 1), "a\uFFFD");
    EXPECT_EQ(converted("\xE9\x85", 2), "é");
    EXPECT_EQ(converted("\xC7\xD1", 4), "한");
    EXPECT_EQ(converted("\xD6\xD0", 5), "中");
    EXPECT_EQ(converted("\xA4\xA4\xFF", 6), "中\uFFFD");
    EXPECT_EQ(converted("\x1B(", 7), "(");
    EXPECT_EQ(converted("x\x93", 3), "x\uFFFD") << "half a character";
    EXPECT_EQ(sacdDate(1999, 0, 3) + sacdDate(0, 1, 1) + sacdDate(2001, 2, 3), "19992001-02-03");
}

TEST(Sacd, CopiesOfTheContents)
{
    Image image{.areas = {plainArea(2)}, .discTitle = "Disc"};
    disc::build(image);
    const auto spoil = [&](std::uint32_t lsn) { image.sectors[lsn].assign(2048, 0xAA); };
    for (const std::uint32_t lsn : {511u, 510u, image.areas[0].toc[0], 520u, 521u}) {
        spoil(lsn);
        Opened disc(disc::fileOf(image));
        expectPayload(disc, image.areas[0].frames, image.areas[0].tracks);
        EXPECT_EQ(disc.reader->disc().title, "Disc");
    }
    spoil(image.areas[0].toc[1]);
    EXPECT_TRUE(Opened(disc::fileOf(image)).said("no area table of contents"));
    spoil(530);
    EXPECT_TRUE(Opened(disc::fileOf(image)).said("not a disc image (no table of contents at sector 510)"));
    EXPECT_TRUE(Opened(Buffer()).said("not a disc image"));
}

TEST(Sacd, WhatIsRefused)
{
    const auto expectRefusal = [](const Area& area, const std::string& why, SacdAreaChoice choice = {}) {
        Image image{.areas = {area}};
        disc::build(image);
        const Opened disc(disc::fileOf(image), choice);
        EXPECT_FALSE(disc.reader);
        EXPECT_TRUE(disc.said(why)) << disc.report.text;
    };
    Area area = plainArea(2);
    expectRefusal(area, "has no multichannel area; choose the stereo one", SacdAreaChoice::multichannel);
    area.channels = 0;
    Image stereo{.areas = {area}};
    disc::build(stereo);
    Opened disc(disc::fileOf(stereo));
    expectPayload(disc, area.frames, area.tracks);
    area.multichannel = true;
    expectRefusal(area, "claims 0 channels");
    area = plainArea(3);
    area.rate = 7;
    expectRefusal(area, "sample frequency that we do not know (code 7)");
    area = plainArea(2);
    area.format = 3; // packets of one layout, contents that claim another
    disc::build(stereo = {.areas = {area}});
    for (const std::uint32_t lsn : stereo.areas[0].toc) stereo.sectors[lsn][21] = 2;
    EXPECT_TRUE(Opened(disc::fileOf(stereo)).said("this disc's sector header does not match any layout we know"));
    std::vector<Buffer> unused;
    for (Area none : {plainArea(2), codedArea(2, unused)}) {
        none.tracks.clear();
        expectRefusal(none, "lists no track");
    }
}

TEST(Sacd, TwoHundredAndFiftyFiveTracks)
{
    Area area{.format = 2};
    for (std::uint32_t f = 0; f < 255; ++f) {
        area.frames.push_back(noise(9408, f));
        area.tracks.push_back({.start = f, .frames = 1});
    }
    Image image{.areas = {area}};
    disc::build(image);
    Opened disc(disc::fileOf(image));
    expectPayload(disc, area.frames, area.tracks);
}

// Sound that is lost is replaced by silence of the same length; a damaged time code costs nothing.
TEST(Sacd, DamagedPlainSectors)
{
    const Area made = plainArea(2);
    Image good{.areas = {made}};
    disc::build(good);
    const std::uint32_t first = good.areas[0].first; // a group of 14 holds three frames, which begin in 0, 4 and 9
    const auto soundWith = [&](auto damage, std::vector<std::uint32_t> silent) {
        Image image = good;
        damage(image.sectors);
        std::vector<Buffer> frames = made.frames;
        for (const std::uint32_t f : silent) frames[f].assign(9408, 0x69);
        Opened disc(disc::fileOf(image));
        EXPECT_TRUE(disc.sound(3) == framesOf(frames, 10, 19));
        EXPECT_TRUE(disc.sound(0) == framesOf(frames, 1, 19));
        disc.reader->reportProblems("disc");
        EXPECT_EQ(disc.said("disc image problem summary"), !silent.empty()) << disc.report.text;
    };
    soundWith([&](auto& s) { s[first + 14 + 2].assign(2048, 0); }, {3});
    soundWith([&](auto& s) { s[first + 14 + 4].assign(2048, 0); }, {3, 4});
    soundWith([&](auto& s) { s[first + 14 + 2][1] |= 7; }, {3}); // a packet longer than the sector
    const auto repeatedTimes = [&](auto& s) { s[first + 51][9] = 9, s[first + 56][7] = 10; }; // of frames 11 and 12
    soundWith(repeatedTimes, {12, 13});
    for (const int code : {0x3F, 0, 200, 5})
        soundWith([&](auto& s) { s[first + 42][1 + 2 * 2 + 2] = static_cast<std::uint8_t>(code); }, {});
}

TEST(Sacd, DamagedCodedSectors)
{
    std::vector<Buffer> plain;
    Image image{.areas = {codedArea(2, plain)}};
    image.areas[0].frames[5][0] = 0x3F; // no frame begins like this
    disc::build(image);
    Opened one(disc::fileOf(image));
    Buffer left = framesOf(plain, 1, 19);
    left.erase(left.begin() + 4 * 9408, left.begin() + 5 * 9408);
    EXPECT_TRUE(one.sound(0) == left);
    EXPECT_TRUE(one.said(format("first @LSN %u) -- frame dropped", image.areas[0].tracks[1].lsn)));
    one.reader->reportProblems("disc");
    EXPECT_TRUE(one.said("decode failures 1, CRC mismatches 0, frames processed 18")) << one.report.text;
    for (const int infoBytes : {4, 3}) {
        image.areas[0].infoBytes = infoBytes;
        disc::build(image);
        for (std::uint32_t lsn = image.areas[0].first + 3; lsn < image.areas[0].last; ++lsn)
            for (std::size_t packet = 0; packet < 7; ++packet) image.sectors[lsn][1 + 2 * packet] &= 0x7F; // never end
        Opened endless(disc::fileOf(image));
        EXPECT_LE(endless.sound(0).size(), 2 * 9408u);
        endless.reader->reportProblems("disc");
        // With a count the frame ends; without one it has to be given up before it is the whole area.
        EXPECT_TRUE(endless.said(infoBytes == 4 ? "incomplete frames 0" : "incomplete frames 1"))
            << endless.report.text;
        EXPECT_FALSE(endless.said("decode failures"));
    }
}

// What a truncated image still gives is the beginning of the sound, and no silence.
TEST(Sacd, Truncation)
{
    std::vector<Buffer> plain;
    for (const bool dst : {false, true}) {
        Image image{.areas = {dst ? codedArea(2, plain) : plainArea(3)}};
        disc::build(image);
        const Buffer file = disc::fileOf(image), whole = framesOf(dst ? plain : image.areas[0].frames, 1, 19);
        std::size_t longest = 0;
        for (std::size_t cut = 1; cut < file.size(); cut += cut < 500 * 2048 ? 99991 : 2501) {
            Opened disc(Buffer(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(cut)));
            EXPECT_TRUE(cut >= image.areas[0].toc[1] * 2048u || !disc.report.text.empty()) << cut;
            if (!disc.reader) continue;
            const Buffer sound = disc.sound(0);
            EXPECT_EQ(sound.size(), disc.reader->source().samples / 4) << cut;
            ASSERT_TRUE(sound.size() <= whole.size() && std::equal(sound.begin(), sound.end(), whole.begin())) << cut;
            EXPECT_GE(sound.size(), longest);
            longest = sound.size();
            const bool none = disc.sound(3).empty();
            EXPECT_EQ(none, disc.said("track 3 lies beyond the end")) << cut;
        }
        EXPECT_EQ(longest, whole.size());
        CollectingReporter report;
        auto broken =
            SACDReader::open(std::make_unique<BrokenSource>(file, (image.areas[0].first + 30u) * 2048u), {}, report);
        ASSERT_TRUE(broken) << report.text;
        EXPECT_LT(interleaved(readAll(*broken, 999)).size(), whole.size());
        EXPECT_NE(report.text.find("cannot be read; the sound ends there"), std::string::npos);
    }
}

TEST(Sacd, AnyDamageEndsInASoundOrAReason)
{
    std::mt19937 random(7);
    std::vector<Buffer> plain;
    for (const bool dst : {false, true}) {
        Image image{.areas = {dst ? codedArea(2, plain) : plainArea(2)}, .discTitle = "Disc"};
        disc::build(image);
        Buffer file = disc::fileOf(image);
        std::vector<std::uint32_t> heads(image.areas[0].last - 543); // contents and sound
        std::iota(heads.begin(), heads.end(), 544u);
        heads.insert(heads.end(), 100, 510u);
        for (int i = 0; i < (dst ? 200 : 1200); ++i) {
            std::vector<std::pair<std::size_t, std::uint8_t>> undo;
            for (unsigned n = random() % 8; n < 8; ++n) { // mostly near the fields
                const std::size_t at = heads[random() % heads.size()] * 2048u + random() % (n % 2 ? 2048 : 96);
                undo.emplace_back(at, file[at]);
                file[at] = random() % 3 ? static_cast<std::uint8_t>(file[at] ^ 1u << random() % 8) : random() & 0xFF;
            }
            CollectingReporter report;
            auto reader = SACDReader::open(std::make_unique<MemorySource>(file), {}, report);
            EXPECT_TRUE(reader || !report.text.empty());
            for (unsigned t = 0; reader && t < 3 && reader->selectTrack(t); ++t)
                EXPECT_LE(readAll(*reader, 4704)[0].size(), reader->source().samples / 8);
            for (; !undo.empty(); undo.pop_back()) file[undo.back().first] = undo.back().second;
        }
    }
}

} // namespace
} // namespace tesk
