// JSON files: presets and batch configurations.
#pragma once

#include "engine/json/json_value.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tesk {

/// Larger files are refused unread.
inline constexpr std::uint64_t kLargestJsonFile = 16 << 20; // bytes

/// The value that a regular file holds.
///
/// @return  nothing, with `error` as "PATH: line 3: ...", when there is no such file or no JSON in it (parseJson)
std::optional<JsonValue> readJsonFile(const std::string& path, std::string& error);

} // namespace tesk
