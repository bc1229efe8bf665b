// Makes disc images of any layout. Everything is written from the tables of the format, nothing from the reader.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tesk::disc {

using Bytes = std::vector<std::uint8_t>;

struct Track {
    std::uint32_t start = 0, frames = 0;
    std::string title = {}, performer = {}, isrc = {};
    std::uint8_t genre = 0;
    std::uint32_t lsn = 0; // receives the sector of its start
};

struct Area {
    enum class Rest { paddingInFront, paddingBehind, undeclared };

    bool multichannel = false;
    int format = 2;                 // 0 DST, 2 three in 14, 3 three in 16
    int channels = 2, rate = 4;     // as the header states them
    std::vector<Bytes> frames = {}; // as stored
    std::vector<Track> tracks = {};
    Rest rest = Rest::paddingInFront;
    bool supplementary = false;
    int infoBytes = 0;                              // of a frame; 0: as on real discs
    std::uint32_t toc[2] = {}, first = 0, last = 0; // receive their sectors
};

struct Image {
    std::vector<Area> areas = {};
    std::string discTitle = {}, discArtist = {}, albumTitle = {}, albumArtist = {}, catalogue = {};
    int charset = 2, sectorBytes = 2048;
    std::vector<Bytes> sectors = {}; // receives the 2048 bytes of each
};

inline void put(Bytes& to, std::size_t at, std::uint64_t value, int width)
{
    for (int i = 0; i < width; ++i) to.at(at + std::size_t(i)) = std::uint8_t(value >> 8 * (width - 1 - i));
}

inline void put(Bytes& to, std::size_t at, std::string_view text) { std::copy(text.begin(), text.end(), &to.at(at)); }

inline void putTime(Bytes& to, std::size_t at, std::uint32_t frames)
{
    put(to, at, (frames / 4500) << 16 | (frames / 75 % 60) << 8 | frames % 75, 3);
}

inline Bytes signedSectors(std::string_view signature, std::size_t count = 1)
{
    Bytes sectors(2048 * count);
    put(sectors, 0, signature);
    return sectors;
}

/// A run of a frame's bytes within one sector.
struct Piece {
    std::size_t frame, at, bytes;
};
using Layout = std::vector<std::vector<Piece>>; // [sector]

/// One frame behind the other into sectors of `room` bytes, of which every packet takes `packetHead` and every start
/// `startHead` for the header; 0 where the room is for sound alone.
inline Layout layoutOf(const std::vector<Bytes>& frames, std::size_t room, std::size_t packetHead,
                       std::size_t startHead, std::size_t mostPackets)
{
    Layout layout(1);
    std::size_t left = room;
    for (std::size_t f = 0; f < frames.size(); ++f)
        for (std::size_t at = 0; at < frames[f].size();) {
            const std::size_t head = packetHead + (at == 0 ? startHead : 0);
            if (left < head + 1 || layout.back().size() == mostPackets) {
                layout.emplace_back();
                left = room;
            }
            const std::size_t bytes = std::min(left - head, frames[f].size() - at);
            layout.back().push_back({f, at, bytes});
            at += bytes;
            left -= head + bytes;
        }
    return layout;
}

inline Bytes audioSector(const Area& area, const std::vector<Piece>& pieces, const std::vector<std::size_t>& parts)
{
    struct Packet {
        int type;
        bool start;
        Bytes bytes;
    };
    std::vector<Packet> packets;
    std::vector<std::size_t> starts;
    const std::size_t infoBytes = area.infoBytes ? std::size_t(area.infoBytes) : area.format ? 3 : 4;
    std::size_t used = 1;
    for (const Piece& p : pieces) {
        const auto from = area.frames[p.frame].begin() + std::ptrdiff_t(p.at);
        packets.push_back({2, p.at == 0, Bytes(from, from + std::ptrdiff_t(p.bytes))});
        if (p.at == 0) starts.push_back(p.frame);
        used += 2 + (p.at == 0 ? infoBytes : 0) + p.bytes;
    }
    const auto fill = [&](int type, std::size_t bytes, bool inFront) {
        if (used + 2 + bytes > 2048 || bytes == 0 || packets.size() == 7) return;
        packets.insert(inFront ? packets.begin() : packets.end(), {type, false, Bytes(bytes, 0xEE)});
        used += 2 + bytes;
    };
    if (area.supplementary) fill(3, 5, true);
    if (area.rest != Area::Rest::undeclared && used + 2 < 2048)
        fill(7, 2048 - used - 2, area.rest == Area::Rest::paddingInFront);
    Bytes sector(1, std::uint8_t(packets.size() << 5 | starts.size() << 2 | (area.format == 0)));
    for (const Packet& p : packets)
        for (const std::size_t byte :
             {std::size_t(p.start) << 7 | std::size_t(p.type) << 3 | p.bytes.size() >> 8, p.bytes.size() & 0xFF})
            sector.push_back(std::uint8_t(byte));
    for (const std::size_t frame : starts) {
        sector.resize(sector.size() + 4);
        putTime(sector, sector.size() - 4, std::uint32_t(frame));
        sector.back() = std::uint8_t(parts[frame] << 2 | (area.channels == 5 ? 1 : area.channels == 6 ? 2 : 0));
        sector.resize(sector.size() - 4 + infoBytes);
    }
    for (const Packet& p : packets) sector.insert(sector.end(), p.bytes.begin(), p.bytes.end());
    sector.resize(2048);
    return sector;
}

inline void addAudio(Image& image, Area& area)
{
    const std::size_t infoBytes = area.infoBytes ? std::size_t(area.infoBytes) : 4;
    const Layout layout = area.format ? layoutOf(area.frames, area.format == 2 ? 2016 : 1764, 0, 0, 7)
                                      : layoutOf(area.frames, 2047, 2, infoBytes, area.supplementary ? 5 : 7);
    std::vector<std::size_t> parts(area.frames.size());
    for (const auto& sector : layout)
        for (const Piece& p : sector) ++parts[p.frame];
    area.first = std::uint32_t(image.sectors.size());
    for (const auto& pieces : layout) {
        for (const Piece& p : pieces)
            for (Track& t : area.tracks)
                if (p.at == 0 && p.frame == t.start) t.lsn = std::uint32_t(image.sectors.size());
        image.sectors.push_back(audioSector(area, pieces, parts));
    }
    area.last = std::uint32_t(image.sectors.size()) - 1;
}

/// The first of the two text channels is empty.
inline Bytes trackTexts(const Area& area)
{
    Bytes texts = signedSectors("SACDTTxt", 2);
    const std::size_t count = area.tracks.size();
    std::size_t at = 8 + 4 * count;
    for (std::size_t i = 0; i < count; ++i) {
        const Track& t = area.tracks[i];
        if (t.title.empty() && t.performer.empty()) continue;
        put(texts, 8 + 2 * (count + i), at, 2);
        put(texts, at, 3, 1); // one more than there is
        at += 4;
        for (const auto& [type, text] : {std::pair(1, &t.title), std::pair(2, &t.performer)}) {
            put(texts, at, std::uint64_t(type) << 8 | 0x20, 2);
            put(texts, at + 2, *text);
            at = (at + 2 + text->size()) / 4 * 4 + 4;
        }
    }
    return texts;
}

inline Bytes areaToc(const Area& area, int charset)
{
    Bytes head = signedSectors(area.multichannel ? "MULCHTOC" : "TWOCHTOC");
    Bytes places = signedSectors("SACDTRL1"), times = signedSectors("SACDTRL2"), codes = signedSectors("SACD_IGL", 2);
    head[20] = std::uint8_t(area.rate);
    head[21] = std::uint8_t(0xA0 | area.format); // the upper bits are reserved
    head[32] = std::uint8_t(area.channels);
    head[69] = std::uint8_t(area.tracks.size());
    put(head, 72, area.first, 4);
    put(head, 76, area.last, 4);
    head[80] = 2; // text channels; the first one is not used
    put(head, 92, 0x656E0000u | std::uint32_t(charset) << 8, 4);
    for (std::size_t i = 0; i < area.tracks.size(); ++i) {
        const Track& t = area.tracks[i];
        const std::uint32_t end = i + 1 < area.tracks.size() ? area.tracks[i + 1].lsn : area.last;
        put(places, 8 + 4 * i, t.lsn, 4);
        put(places, 1028 + 4 * i, end - t.lsn + 1, 4);
        putTime(times, 8 + 4 * i, t.start);
        putTime(times, 1028 + 4 * i, t.frames);
        put(codes, 8 + 12 * i, t.isrc);
        put(codes, 3072 + 4 * i, 1u << 24 | t.genre, 4);
    }
    Bytes toc;
    for (const Bytes& part :
         {head, places, times, codes, area.format ? Bytes() : signedSectors("SACD_ACC", 32), trackTexts(area)})
        toc.insert(toc.end(), part.begin(), part.end());
    put(toc, 10, toc.size() / 2048, 2);
    return toc;
}

inline void place(Image& image, std::uint32_t lsn, const Bytes& bytes)
{
    image.sectors.resize(std::max(image.sectors.size(), lsn + bytes.size() / 2048), Bytes(2048));
    for (std::size_t at = 0; at < bytes.size(); at += 2048)
        std::copy_n(bytes.begin() + std::ptrdiff_t(at), 2048, image.sectors[lsn + at / 2048].begin());
}

inline Bytes masterToc(const Image& image)
{
    Bytes toc = signedSectors("SACDMTOC", 10);
    for (const Area& area : image.areas)
        for (std::size_t copy = 0; copy < 2; ++copy)
            put(toc, (area.multichannel ? 72 : 64) + 4 * copy, area.toc[copy], 4);
    put(toc, 88, image.catalogue);
    put(toc, 120, 2003u << 16 | 11 << 8 | 5, 4);
    put(toc, 104, 1u << 24 | 14, 4); // jazz
    toc[128] = 1;
    put(toc, 136, 0x656E0000u | std::uint32_t(image.charset) << 8, 4);
    for (std::size_t s = 1; s <= 8; ++s) put(toc, 2048 * s, "SACDText");
    std::size_t at = 64;
    for (const auto& [pointer, text] : {std::pair(16, &image.albumTitle), std::pair(18, &image.albumArtist),
                                        std::pair(32, &image.discTitle), std::pair(34, &image.discArtist)})
        if (!text->empty()) {
            put(toc, 2048 + std::size_t(pointer), at, 2);
            put(toc, 2048 + at, *text);
            at += text->size() + 1;
        }
    put(toc, 2048 * 9, "SACD_Man");
    return toc;
}

/// Fills `sectors` and what else is received.
inline void build(Image& image)
{
    image.sectors.assign(544, Bytes(2048));
    for (Area& area : image.areas) {
        const Bytes draft = areaToc(area, image.charset); // of the right length
        area.toc[0] = std::uint32_t(image.sectors.size());
        place(image, area.toc[0], draft);
        addAudio(image, area);
        area.toc[1] = std::uint32_t(image.sectors.size());
        for (const std::uint32_t lsn : area.toc) place(image, lsn, areaToc(area, image.charset));
    }
    for (const std::uint32_t lsn : {510u, 520u, 530u}) place(image, lsn, masterToc(image));
}

/// The file, in the image's flavour.
inline Bytes fileOf(const Image& image)
{
    const std::size_t lead = image.sectorBytes == 2064 ? 12 : image.sectorBytes == 2054 ? 6 : 0;
    Bytes file(image.sectors.size() * std::size_t(image.sectorBytes), 0x77);
    for (std::size_t s = 0; s < image.sectors.size(); ++s)
        std::copy(image.sectors[s].begin(), image.sectors[s].end(),
                  file.begin() + std::ptrdiff_t(s * std::size_t(image.sectorBytes) + lead));
    return file;
}

} // namespace tesk::disc
