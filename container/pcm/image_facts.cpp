#include "container/pcm/image_facts.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace tesk {
namespace {

using Image = std::span<const std::uint8_t>;

/// Big-endian; 0 beyond the end.
std::uint32_t number(Image image, std::size_t at, std::size_t width)
{
    if (at > image.size() || image.size() - at < width) return 0;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value = value << 8 | image[at + i];
    return value;
}

bool startsWith(Image image, Image signature)
{
    return image.size() >= signature.size() && std::equal(signature.begin(), signature.end(), image.begin());
}

/// Entries of the palette chunk, which stands somewhere before the picture's data.
std::uint32_t paletteColors(Image png)
{
    constexpr std::uint32_t kPlte = 0x504C5445, kIdat = 0x49444154;
    for (std::size_t at = 8; at + 12 <= png.size();) {
        const std::size_t length = number(png, at, 4);
        const std::uint32_t type = number(png, at + 4, 4);
        if (type == kPlte) return static_cast<std::uint32_t>(length / 3);
        if (type == kIdat) break;
        at += 12 + length; // at most 4 GiB at a time, in 64 bits
    }
    return 0;
}

ImageFacts pngFacts(Image png)
{
    ImageFacts facts{"image/png"};
    if (number(png, 12, 4) != 0x49484452 || png.size() < 26) return facts; // "IHDR" comes first
    constexpr std::uint8_t kSamples[] = {1, 0, 3, 1, 2, 0, 4};             // per pixel, by colour type
    constexpr std::uint8_t kPalette = 3;
    const std::uint8_t type = png[25];
    facts.width = number(png, 16, 4);
    facts.height = number(png, 20, 4);
    facts.depth = type == kPalette ? 24 : type < std::size(kSamples) ? png[24] * kSamples[type] : 0u;
    if (type == kPalette) facts.colors = paletteColors(png);
    return facts;
}

bool isFrameHeader(std::uint8_t marker)
{
    const bool table = marker == 0xC4 || marker == 0xC8 || marker == 0xCC; // Huffman, reserved, arithmetic
    return marker >= 0xC0 && marker <= 0xCF && !table;
}

ImageFacts jpegFacts(Image jpeg)
{
    ImageFacts facts{"image/jpeg"};
    for (std::size_t at = 2; at + 4 <= jpeg.size() && jpeg[at] == 0xFF;) {
        const std::uint8_t marker = jpeg[at + 1];
        if (marker == 0xFF) { // any number of these may stand before a marker
            ++at;
            continue;
        }
        if (isFrameHeader(marker) && at + 10 <= jpeg.size()) {
            facts.depth = number(jpeg, at + 4, 1) * number(jpeg, at + 9, 1); // precision, components
            facts.height = number(jpeg, at + 5, 2);
            facts.width = number(jpeg, at + 7, 2);
            break;
        }
        const std::uint32_t length = number(jpeg, at + 2, 2);
        if (length < 2 || marker == 0xDA) break; // the scan: too late for a frame header
        at += 2 + length;
    }
    return facts;
}

} // namespace

std::optional<ImageFacts> imageFacts(Image image)
{
    static constexpr std::uint8_t kPng[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    static constexpr std::uint8_t kJpeg[] = {0xFF, 0xD8, 0xFF};
    if (startsWith(image, kPng)) return pngFacts(image);
    if (startsWith(image, kJpeg)) return jpegFacts(image);
    return std::nullopt;
}

} // namespace tesk
