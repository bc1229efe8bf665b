// The tables of contents of a disc image: areas, tracks, texts. All numbers on a disc are big-endian.
#pragma once

#include "container/reader/sacd_iso_reader.h"
#include "engine/base/metadata.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tesk {

inline constexpr std::uint32_t kSacdFramesPerSecond = 75;

/// Frames of 1/75 s count from the beginning of the area.
struct SacdTrack {
    std::uint32_t startFrame = 0, frames = 0;
    std::uint32_t startLsn = 0, sectors = 0;
    MetadataRecord metadata; ///< title, artist (performer), genre, track number, ISRC; album, date from the disc
};

struct SacdArea {
    bool multichannel = false;
    bool dst = false;
    std::uint8_t frameFormat = 0; ///< 0 DST, 2 "3 in 14", 3 "3 in 16"
    std::uint32_t channels = 0, dsdRate = 0;
    std::uint32_t firstLsn = 0, lastLsn = 0; ///< of the track area, both included
    std::vector<SacdTrack> tracks;

    /// All channels of 1/75 s as plain sound.
    std::uint32_t frameBytes() const { return channels * (dsdRate / 8 / kSacdFramesPerSecond); }
};

struct SacdDisc {
    bool hasStereo = false, hasMultichannel = false;
    std::string title, artist, catalogueNumber;
    std::string date;  ///< "YYYY-MM-DD", "YYYY", or empty
    std::string genre; ///< of the disc as a whole, else of its album; or empty
};

/// Where an area's table of contents stands, and its copy; 0 for none.
struct SacdAreaPlace {
    std::array<std::uint32_t, 2> lsn{};
    std::uint32_t sectors = 0; ///< of each; 0 when the disc does not say

    bool exists() const { return lsn[0] != 0 || lsn[1] != 0; }
};

struct SacdMaster {
    SacdDisc disc;
    SacdAreaPlace stereo, multichannel;
};

/// The first good one of the three copies; nothing when there is none.
std::optional<SacdMaster> readSacdMaster(sacd_iso_reader& image);

/// The area's table of contents, from its copy when the first is damaged.
/// @param disc  fills the album, and the artist and genre of tracks without their own
/// @param why   receives the reason when nothing is returned, without a full stop
std::optional<SacdArea> readSacdArea(sacd_iso_reader& image, const SacdAreaPlace& place, const SacdDisc& disc,
                                     std::string& why);

/// Hz; nothing for a code that no disc of ours can have.
std::optional<std::uint32_t> sacdRate(std::uint8_t sampleFrequencyCode);

/// 2, 5 or 6, whatever the area says that it has; nothing for a multichannel area without a proper count.
std::optional<std::uint32_t> sacdChannels(bool multichannel, std::uint8_t count);

} // namespace tesk
