// The header of an audio sector: which packets it carries and which frames begin in it.
#pragma once

#include "container/reader/sacd_toc.h"

#include <array>
#include <cstdint>
#include <optional>

namespace tesk {

struct SacdPacket {
    static constexpr unsigned kAudio = 2, kSupplementary = 3, kPadding = 7;

    bool startsFrame = false;
    std::uint8_t type = 0;
    std::uint16_t offset = 0, length = 0; ///< bytes of the sector
};

/// What stands about a frame in the sector in which it begins.
struct SacdFrameInfo {
    std::uint8_t minutes = 0, seconds = 0, frames = 0; ///< time code, from the start of the area
    std::uint8_t sectors = 0; ///< that the frame touches; 0 when the header does not say: until the next start

    /// Frames from the start of the area; nothing for a time that no clock shows.
    std::optional<std::uint32_t> number() const
    {
        if (seconds >= 60 || frames >= kSacdFramesPerSecond) return {};
        return (minutes * 60u + seconds) * kSacdFramesPerSecond + frames;
    }
};

/// How the declared bytes fill the sector.
enum class SacdFit {
    none,    ///< they do not fit, or there are others behind them
    partial, ///< zero bytes follow
    exact,
};

struct SacdSectorHeader {
    unsigned packetCount = 0, frameCount = 0;
    std::array<SacdPacket, 7> packets;
    std::array<SacdFrameInfo, 7> frames;
    unsigned end = 0; ///< of the declared bytes; above 2048 when they do not fit
    SacdFit fit = SacdFit::none;
};

/// Reads the header of a sector of 2048 bytes.
/// @param frameInfoBytes  3 or 4; with 4 the last one tells how many sectors the frame touches
SacdSectorHeader readSectorHeader(const std::uint8_t* sector, unsigned frameInfoBytes);

/// As written by the makers of discs: 4 in DST-coded areas, else 3.
inline unsigned discFrameInfoBytes(const SacdArea& area) { return area.dst ? 4 : 3; }

} // namespace tesk
