// The chunks of a DSDIFF file: what stands in front of the sound, and the head of the sound data.
#pragma once

#include "container/dsd_writer.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tesk {

inline constexpr std::uint64_t kDsdiffChunkHead = 12; ///< ID and size
inline constexpr std::uint64_t kDsdiffFormSize = 4;   ///< offset of the form's size

/// Four letters per channel by channel-type code (see channelTypeCode). Codes without names get "C000", "C001", ...,
/// at most 64; code 7 (5.1) has none unless the stream has LFE and centre.
std::vector<std::string> channelIds(std::uint32_t typeCode, const DsdStreamInfo& info);

/// Loudspeaker configuration by channel-type code: 0 stereo, 3 five channels, 4 for 5.1, else 65535 (undefined).
/// Code 5 (L R C LFE) is announced as 5.1 too. It is meant.
std::uint16_t loudspeakerConfiguration(std::uint32_t typeCode);

/// "FRM8" up to the first sample, for `bytesPerChannel` of plain sound. The form ends behind the sound.
/// Source: DSDIFF 1.5 (Philips).
std::vector<std::uint8_t> dsdiffHeader(const DsdStreamInfo& info, std::uint64_t bytesPerChannel);

/// "FRM8" up to the first "DSTF".
///
/// @param frames      as "FRTE" counts them
/// @param frameBytes  all "DSTF" chunks together, with their heads and pads
std::vector<std::uint8_t> dsdiffDstHeader(const DsdStreamInfo& info, std::uint32_t frames, std::uint64_t frameBytes);

/// One coded frame, with the pad byte that the chunk's size does not count.
std::vector<std::uint8_t> dstFrameChunk(std::span<const std::uint8_t> coded);

} // namespace tesk
