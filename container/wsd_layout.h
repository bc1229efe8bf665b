// The header of a WSD file.
#pragma once

#include "container/dsd_writer.h"
#include "engine/base/metadata.h"

#include <cstdint>
#include <vector>

namespace tesk {

inline constexpr std::uint64_t kWsdHeaderBytes = 2048;
inline constexpr std::uint32_t kWsdMostChannels = 15; ///< the count has four bits

/// Loudspeakers as bits by channel count: mono to 5.1 in the order of the DSF channel types; bit 0, "no assignment",
/// for counts the format has no loudspeakers for.
std::uint32_t wsdChannelAssignment(std::uint32_t channels);

/// 128 bytes of information and 1920 of text. A text that does not fit is cut between two characters; a track number
/// has no field. Source: 1-bit Audio Consortium, WSD file format 1.1.
std::vector<std::uint8_t> wsdHeader(const DsdStreamInfo& info, std::uint64_t bytesPerChannel,
                                    const MetadataRecord& metadata);

} // namespace tesk
