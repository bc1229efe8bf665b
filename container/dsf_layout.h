// The header of a DSF file.
#pragma once

#include "container/dsd_writer.h"

#include <cstdint>
#include <vector>

namespace tesk {

inline constexpr std::uint32_t kDsfBlockBytes = 4096; ///< per channel
inline constexpr std::uint64_t kDsfHeaderBytes = 92;
inline constexpr std::uint64_t kDsfMetadataPointer = 20; ///< offset of the tag's position
inline constexpr std::uint8_t kDsdSilence = 0x69;

/// Channel-type code of a channel count: mono, stereo, three, quad, five, 5.1, and 9 for eight channels; 0 for
/// counts the format has no name for.
std::uint32_t channelTypeCode(std::uint32_t channels);

/// Bytes of one channel, padded to whole DSF blocks.
std::uint64_t dsfBytesPerChannel(const DsdStreamInfo& info);

/// The 92 bytes of "DSD ", "fmt " and the head of "data", without a metadata pointer. The sample count includes the
/// silence that fills the last block, so that players see whole blocks.
/// Source: DSF File Format 1.01 (Sony).
std::vector<std::uint8_t> dsfHeader(const DsdStreamInfo& info, std::uint64_t bytesPerChannel);

} // namespace tesk
