// What the readers of files take for one-bit sound.
#pragma once

#include <algorithm>
#include <cstdint>

namespace tesk {

inline constexpr std::uint32_t kMostDsdChannels = 64;                               ///< as many as the writers take
inline constexpr std::uint32_t kLowestDsdRate = 100000, kHighestDsdRate = 49152000; ///< Hz

inline bool isDsdRate(std::uint32_t rate) { return rate >= kLowestDsdRate && rate <= kHighestDsdRate; }

/// Bytes per channel of 1/75 s, the step of containers that have none of their own.
inline std::uint32_t dsdBlockBytes(std::uint32_t rate) { return rate / 8 / 75; }

} // namespace tesk
