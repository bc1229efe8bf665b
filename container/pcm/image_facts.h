// What a picture block wants to know about a PNG or JPEG file, without decoding it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace tesk {

/// Sizes in pixels, depth in bits per pixel; each 0 when the file does not tell it in the place where it belongs.
struct ImageFacts {
    const char* mime = "";
    std::uint32_t width = 0, height = 0, depth = 0;
    std::uint32_t colors = 0; ///< of the palette; 0 without one
};

/// Nothing for a file of another kind. Reads within `image` only, whatever it claims.
/// Sources: Portable Network Graphics (W3C, 2003), 11.2; ITU-T T.81, B.1.1 and B.2.2.
std::optional<ImageFacts> imageFacts(std::span<const std::uint8_t> image);

} // namespace tesk
