// Reads a coded frame as one string of bits, the most significant bit of the first byte first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tesk {

/// Past the end come zeros, and `overrun` tells.
class DstBitReader {
public:
    explicit DstBitReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    bool bit()
    {
        const std::size_t byte = position_ / 8;
        const bool value = byte < bytes_.size() && (bytes_[byte] >> (7 - position_ % 8) & 1);
        ++position_;
        return value;
    }
    /// An unsigned field of 0 to 32 bits, most significant first.
    std::uint32_t bits(int width)
    {
        std::uint32_t value = 0;
        for (int i = 0; i < width; ++i) value = value << 1 | static_cast<std::uint32_t>(bit());
        return value;
    }
    /// Two's complement of 1 to 31 bits.
    int signedBits(int width)
    {
        const auto value = static_cast<int>(bits(width));
        return value >> (width - 1) ? value - (1 << width) : value;
    }
    /// The zeros up to the next one, which is consumed too; stops behind `limit` zeros.
    int zeros(int limit)
    {
        int count = 0;
        while (count < limit && !bit()) ++count;
        return count;
    }
    std::size_t position() const { return position_; } ///< bits read, those past the end too
    bool overrun() const { return position_ > 8 * bytes_.size(); }

private:
    std::span<const std::uint8_t> bytes_;
    std::size_t position_ = 0;
};

} // namespace tesk
