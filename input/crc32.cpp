#include "input/crc32.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

namespace tesk {
namespace {

static_assert(std::endian::native == std::endian::little);

constexpr std::size_t kStep = 16; // bytes per round
using Tables = std::array<std::array<std::uint32_t, 256>, kStep>;

/// Row d holds what a byte becomes once d more bytes have gone through the register ("slicing by 16").
constexpr Tables makeTables()
{
    Tables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t rest = byte;
        for (int bit = 0; bit < 8; ++bit) rest = rest >> 1 ^ ((rest & 1) != 0 ? 0xEDB88320u : 0);
        tables[0][byte] = rest;
    }
    for (std::size_t d = 1; d < kStep; ++d)
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t rest = tables[d - 1][byte];
            tables[d][byte] = rest >> 8 ^ tables[0][rest & 0xFF];
        }
    return tables;
}

constexpr Tables kTables = makeTables();

/// Four bytes of which the last is followed by `behind` more of the same round.
std::uint32_t slice(std::uint32_t word, std::size_t behind)
{
    return kTables[behind + 3][word & 0xFF] ^ kTables[behind + 2][word >> 8 & 0xFF] ^
           kTables[behind + 1][word >> 16 & 0xFF] ^ kTables[behind][word >> 24];
}

} // namespace

std::uint32_t crc32(std::span<const std::uint8_t> bytes)
{
    std::uint32_t rest = 0xFFFFFFFFu;
    for (; bytes.size() >= kStep; bytes = bytes.subspan(kStep)) {
        std::uint32_t word[4];
        std::memcpy(word, bytes.data(), sizeof word);
        rest = slice(word[0] ^ rest, 12) ^ slice(word[1], 8) ^ slice(word[2], 4) ^ slice(word[3], 0);
    }
    for (const std::uint8_t byte : bytes) rest = rest >> 8 ^ kTables[0][(rest ^ byte) & 0xFF];
    return ~rest;
}

} // namespace tesk
