// The checksum of zlib, PNG and TTA.
#pragma once

#include <cstdint>
#include <span>

namespace tesk {

/// CRC-32 as ISO/IEC 13239 and zlib have it: polynomial 0xEDB88320 reflected, all ones at the start, inverted at the
/// end. The checksum of nothing is 0.
std::uint32_t crc32(std::span<const std::uint8_t> bytes);

} // namespace tesk
