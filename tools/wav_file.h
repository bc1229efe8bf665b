// Writes the test signals as RIFF WAVE files.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesk::measure {

enum class WavFormat { s16, s24, f64 };

std::optional<WavFormat> wavFormat(std::string_view name);

/// The file's bytes, below 4 GiB. Integer samples are rounded to nearest and limited, without dither.
/// @param channels  [channels][frames], full scale ±1
/// Format tag 1 for integers, 3 for doubles. Source: Microsoft and IBM, Multimedia Programming Interface 1.0 (1991).
std::vector<unsigned char> wavImage(const std::vector<std::vector<double>>& channels, unsigned rate, WavFormat format);

/// Writes the image; an empty text, or what went wrong.
std::string writeFile(const std::string& path, const std::vector<unsigned char>& bytes);

} // namespace tesk::measure
