#include "reverse/disc_tracks.h"

#include "engine/base/paths.h"
#include "engine/base/reporter.h"
#include "engine/base/utf8.h"
#include "platform/files.h"

#include <algorithm>

namespace tesk {
namespace {

std::string timeText(std::uint32_t frames)
{
    const std::uint32_t seconds = frames / kSacdFramesPerSecond;
    return format("%3u:%02u.%02u", seconds / 60, seconds % 60,
                  frames % kSacdFramesPerSecond * 100 / kSacdFramesPerSecond);
}

/// Without what some file system or shell reads as something else.
std::string asFileName(const std::string& text)
{
    std::string name;
    for (const char c : text) {
        const bool plain = static_cast<unsigned char>(c) >= 0x20 && c != 0x7f;
        name += plain && std::string_view("/\\:*?\"<>|").find(c) == std::string_view::npos ? c : '_';
    }
    while (name.ends_with(' ') || name.ends_with('.')) name.pop_back();
    return name;
}

} // namespace

std::string discTrackPath(const std::string& output, unsigned number, const std::string& title)
{
    // "Vol. 2" has none.
    const std::string known = fileExtension(output);
    const bool hasOne = known == "wav" || known == "w64" || known == "flac";
    const std::string stem(hasOne ? withoutExtension(output) : output), extension = output.substr(stem.size());
    std::string path = stem + format(" - %02u", number);
    if (title.empty()) return path + extension;
    const std::size_t fixed = path.size() - folderOf(path).size() + 3 + extension.size();
    const std::size_t room = platform::longestFileName() > fixed ? platform::longestFileName() - fixed : 0;
    const std::string name = asFileName(title);
    const std::string fitting(withoutBrokenEnd(name.substr(0, std::min(room, name.size()))));
    return path + (fitting.empty() ? "" : " - " + fitting) + extension;
}

MetadataRecord discMetadata(const SacdDisc& disc)
{
    MetadataRecord record;
    const auto put = [](std::optional<std::string>& field, const std::string& text) {
        if (!text.empty()) field = text;
    };
    put(record.title, disc.title);
    put(record.album, disc.title);
    put(record.artist, disc.artist);
    put(record.date, disc.date);
    return record;
}

std::string discListing(const SacdDisc& disc, const SacdArea& area)
{
    std::string text = format("%s - %s%s%s\n", disc.artist.empty() ? "(unknown artist)" : disc.artist.c_str(),
                              disc.title.empty() ? "(untitled)" : disc.title.c_str(), disc.date.empty() ? "" : ", ",
                              disc.date.c_str());
    if (!disc.catalogueNumber.empty()) text += format("Catalogue number %s\n", disc.catalogueNumber.c_str());
    text += format("%s area, %u channels, %.4f MHz, %s%s\n", area.multichannel ? "Multichannel" : "Stereo",
                   area.channels, area.dsdRate / 1e6, area.dst ? "DST" : "plain DSD",
                   disc.hasStereo && disc.hasMultichannel ? "; the other area: --area" : "");
    text += "Track      Start       Time  Performer - Title\n";
    for (std::size_t i = 0; i < area.tracks.size(); ++i) {
        const SacdTrack& track = area.tracks[i];
        const std::string performer = track.metadata.artist.value_or("");
        text += format("%5zu  %s  %s  %s%s%s\n", i + 1, timeText(track.startFrame).c_str(),
                       timeText(track.frames).c_str(), performer.c_str(), performer.empty() ? "" : " - ",
                       track.metadata.title.value_or("(untitled)").c_str());
    }
    return text;
}

} // namespace tesk
