#include "container/reader/sacd_toc.h"

#include "container/reader/sacd_text.h"
#include "engine/base/report.h"
#include "engine/base/reporter.h"

#include <algorithm>
#include <cstring>

namespace tesk {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint32_t kMostAreaSectors = 96;
constexpr unsigned kTextChannels = 8;
constexpr std::size_t kMostTracks = 255;

std::uint32_t u16(Bytes bytes, std::size_t at) { return std::uint32_t{bytes[at]} << 8 | bytes[at + 1]; }
std::uint32_t u32(Bytes bytes, std::size_t at) { return u16(bytes, at) << 16 | u16(bytes, at + 2); }

bool hasSignature(Bytes bytes, std::size_t at, const char* signature)
{
    return std::memcmp(bytes.data() + at, signature, 8) == 0;
}

struct TextChannel {
    unsigned index = 0, charset = 0;
};

/// The first text channel with a language and a character set, else the first one.
/// @param at  of the count; the languages and character sets follow 8 bytes behind it
std::optional<TextChannel> chooseTextChannel(Bytes toc, std::size_t at)
{
    const unsigned count = std::min<unsigned>(toc[at], kTextChannels);
    const auto charset = [&](unsigned i) { return toc[at + 8 + 4 * i + 2]; };
    for (unsigned i = 0; i < count; ++i)
        if (u16(toc, at + 8 + 4 * i) != 0 && charset(i) != 0) return TextChannel{i, charset(i)};
    if (count == 0) return {};
    return TextChannel{0, charset(0)};
}

std::string genreAt(Bytes bytes, std::size_t at)
{
    const char* name = sacdGenreName(bytes[at], u16(bytes, at + 2));
    return name ? name : "";
}

const std::string& firstGiven(const std::string& a, const std::string& b) { return a.empty() ? b : a; }

std::optional<std::string> given(const std::string& text)
{
    if (text.empty()) return {};
    return text;
}

/// Titles and artists from the text sector of one channel.
void readDiscTexts(Bytes sector, unsigned charset, SacdDisc& disc)
{
    const auto text = [&](std::size_t pointer) {
        const std::size_t at = u16(sector, pointer);
        return at >= 64 && at < sector.size() ? sacdText(sector.subspan(at), charset) : std::string();
    };
    constexpr std::size_t kAlbum = 16, kDisc = 32, kArtist = 2;
    disc.title = firstGiven(text(kDisc), text(kAlbum));
    disc.artist = firstGiven(text(kDisc + kArtist), text(kAlbum + kArtist));
}

SacdMaster parseMaster(Bytes toc)
{
    SacdMaster master;
    master.stereo = {{u32(toc, 64), u32(toc, 68)}, u16(toc, 84)};
    master.multichannel = {{u32(toc, 72), u32(toc, 76)}, u16(toc, 86)};
    SacdDisc& disc = master.disc;
    disc.hasStereo = master.stereo.exists();
    disc.hasMultichannel = master.multichannel.exists();
    disc.catalogueNumber = firstGiven(sacdCode(toc.subspan(88, 16)), sacdCode(toc.subspan(24, 16)));
    disc.date = sacdDate(u16(toc, 120), toc[122], toc[123]);
    for (std::size_t i = 0; i < 8 && disc.genre.empty(); ++i) // the disc's four, then the album's
        disc.genre = genreAt(toc, i < 4 ? 104 + 4 * i : 40 + 4 * (i - 4));
    return master;
}

/// One copy of an area's table of contents: its sectors, and what its lists hold.
class AreaParser {
public:
    AreaParser(std::uint32_t lsn, Bytes toc, const SacdDisc& disc) : lsn_(lsn), toc_(toc), disc_(disc) {}

    std::optional<SacdArea> parse(std::string& why);

private:
    bool parseHeader(std::string& why);
    void findLists();
    void parseTracks();
    SacdTrackTexts textsOf(std::size_t track) const;
    MetadataRecord metadataOf(std::size_t track) const;

    std::uint32_t lsn_;
    Bytes toc_;
    const SacdDisc& disc_;
    Bytes places_, times_, codes_, texts_; // SACDTRL1, SACDTRL2, SACD_IGL, SACDTTxt; empty when absent
    SacdArea area_;
};

std::optional<SacdArea> AreaParser::parse(std::string& why)
{
    if (!parseHeader(why)) return {};
    findLists();
    parseTracks();
    return std::move(area_);
}

bool AreaParser::parseHeader(std::string& why)
{
    area_.multichannel = hasSignature(toc_, 0, "MULCHTOC");
    if (!area_.multichannel && !hasSignature(toc_, 0, "TWOCHTOC")) {
        why = format("there is no area table of contents at sector %u", lsn_);
        return false;
    }
    const std::uint8_t rateCode = toc_[20];
    area_.frameFormat = toc_[21] & 0x0F;
    area_.dst = area_.frameFormat == 0;
    tracef("[iso] areaToc lsn=%u sf=%u ff=%u -> isDst_=%d", lsn_, rateCode, area_.frameFormat, area_.dst ? 1 : 0);
    const auto channels = sacdChannels(area_.multichannel, toc_[32]);
    const auto rate = sacdRate(rateCode);
    area_.firstLsn = u32(toc_, 72);
    area_.lastLsn = u32(toc_, 76);
    if (!channels)
        why = format("the multichannel area claims %u channels", toc_[32]);
    else if (!rate)
        why = format("the area has a sample frequency that we do not know (code %u)", rateCode);
    else if (area_.firstLsn == 0 || area_.lastLsn < area_.firstLsn)
        why = format("the area has no track area (sectors %u to %u)", area_.firstLsn, area_.lastLsn);
    if (!channels || !rate || !why.empty()) return false;
    area_.channels = *channels;
    area_.dsdRate = *rate;
    return true;
}

/// Steps by signature; sectors without one belong to a list that began before.
void AreaParser::findLists()
{
    const std::size_t sectors = toc_.size() / kSacdSectorBytes;
    constexpr std::size_t kCodeSectors = 2, kAccessSectors = 32;
    for (std::size_t i = 1; i < sectors;) {
        const std::size_t at = i * kSacdSectorBytes;
        const auto take = [&](Bytes& list, const char* signature, std::size_t bytes) {
            if (!hasSignature(toc_, at, signature)) return false;
            if (list.empty() && bytes <= toc_.size() - at) list = toc_.subspan(at, bytes);
            return true;
        };
        if (take(codes_, "SACD_IGL", kCodeSectors * kSacdSectorBytes))
            i += kCodeSectors;
        else if (hasSignature(toc_, at, "SACD_ACC"))
            i += kAccessSectors;
        else {
            take(places_, "SACDTRL1", kSacdSectorBytes) || take(times_, "SACDTRL2", kSacdSectorBytes) ||
                take(texts_, "SACDTTxt", toc_.size() - at);
            ++i;
        }
    }
}

void AreaParser::parseTracks()
{
    constexpr std::size_t kStarts = 8, kLengths = kStarts + 4 * kMostTracks;
    if (places_.empty() || times_.empty()) return;
    const auto frames = [&](std::size_t at) {
        return (times_[at] * 60u + times_[at + 1]) * kSacdFramesPerSecond + times_[at + 2];
    };
    area_.tracks.resize(toc_[69]);
    for (std::size_t i = 0; i < area_.tracks.size(); ++i) {
        SacdTrack& track = area_.tracks[i];
        track.startLsn = u32(places_, kStarts + 4 * i);
        track.sectors = u32(places_, kLengths + 4 * i);
        track.startFrame = frames(kStarts + 4 * i);
        track.frames = frames(kLengths + 4 * i);
        track.metadata = metadataOf(i);
    }
}

MetadataRecord AreaParser::metadataOf(std::size_t track) const
{
    constexpr std::size_t kGenres = 3072, kCodeBytes = 12;
    const SacdTrackTexts texts = textsOf(track);
    MetadataRecord record;
    record.title = given(texts.title);
    record.artist = given(firstGiven(texts.performer, disc_.artist));
    record.album = given(disc_.title);
    record.genre = given(firstGiven(codes_.empty() ? "" : genreAt(codes_, kGenres + 4 * track), disc_.genre));
    record.date = given(disc_.date);
    record.track = static_cast<int>(track) + 1;
    const std::string isrc = codes_.empty() ? "" : sacdCode(codes_.subspan(8 + kCodeBytes * track, kCodeBytes));
    if (isrc.size() == kCodeBytes) record.isrc = isrc;
    return record;
}

SacdTrackTexts AreaParser::textsOf(std::size_t track) const
{
    const auto channel = chooseTextChannel(toc_, 80);
    if (texts_.empty() || !channel) return {};
    const std::size_t pointer = 8 + 2 * (channel->index * std::size_t{toc_[69]} + track);
    if (pointer + 2 > texts_.size()) return {};
    return sacdTrackTexts(texts_, u16(texts_, pointer), channel->charset);
}

/// One copy of an area's table of contents.
std::optional<SacdArea> readAreaCopy(sacd_iso_reader& image, std::uint32_t lsn, std::uint32_t sectors,
                                     const SacdDisc& disc, std::string& why)
{
    std::vector<std::uint8_t> toc(kSacdSectorBytes);
    if (!image.readSector(lsn, toc.data())) {
        why = format("the area table of contents at sector %u cannot be read", lsn);
        return {};
    }
    const auto proper = [](std::uint32_t count) { return count >= 1 && count <= kMostAreaSectors; };
    const std::uint32_t own = u16(toc, 10);
    const std::uint32_t count = proper(own) ? own : proper(sectors) ? sectors : kMostAreaSectors;
    toc.resize(std::size_t{count} * kSacdSectorBytes);
    toc.resize(std::size_t{std::max(1u, image.readSectors(lsn, count, toc.data()))} * kSacdSectorBytes);
    return AreaParser(lsn, toc, disc).parse(why);
}

} // namespace

std::optional<std::uint32_t> sacdRate(std::uint8_t code)
{
    const unsigned base = code < 11 ? 44100 : 48000;
    const int index = code >= 14 ? code - 10 : code >= 11 ? code - 7 : code >= 8 ? code - 4 : code;
    switch (index) {
    case 4: return base * 64;
    case 5: return base * 128;
    case 6: return base * 256;
    default: return {};
    }
}

std::optional<std::uint32_t> sacdChannels(bool multichannel, std::uint8_t count)
{
    if (multichannel && (count < 1 || count > 8)) return {};
    return count == 5 || count == 6 ? count : 2;
}

std::optional<SacdMaster> readSacdMaster(sacd_iso_reader& image)
{
    std::vector<std::uint8_t> sector(kSacdSectorBytes);
    const auto reads = [&](std::uint32_t lsn, const char* signature) {
        return image.readSector(lsn, sector.data()) && hasSignature(sector, 0, signature);
    };
    for (const std::uint32_t lsn : kSacdMasterLsn) {
        if (!reads(lsn, "SACDMTOC")) continue;
        SacdMaster master = parseMaster(sector);
        if (!master.disc.hasStereo && !master.disc.hasMultichannel) continue;
        const auto channel = chooseTextChannel(sector, 128);
        if (!channel) return master;
        for (const std::uint32_t copy : {lsn, kSacdMasterLsn[0], kSacdMasterLsn[1], kSacdMasterLsn[2]})
            if (reads(copy + 1 + channel->index, "SACDText")) {
                readDiscTexts(sector, channel->charset, master.disc);
                break;
            }
        return master;
    }
    return {};
}

std::optional<SacdArea> readSacdArea(sacd_iso_reader& image, const SacdAreaPlace& place, const SacdDisc& disc,
                                     std::string& why)
{
    std::optional<SacdArea> found;
    std::string reasons[2];
    for (const std::size_t copy : {0, 1}) {
        if (place.lsn[copy] == 0) continue;
        auto area = readAreaCopy(image, place.lsn[copy], place.sectors, disc, reasons[copy]);
        if (area && (!found || !area->tracks.empty())) found = std::move(area);
        if (found && !found->tracks.empty()) return found;
    }
    why = reasons[0].empty() ? reasons[1] : reasons[0];
    return found;
}

} // namespace tesk
