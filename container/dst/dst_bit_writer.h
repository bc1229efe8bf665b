// The bit string of a coded frame: big-endian, most significant bit of the first byte first.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace tesk {

class DstBitWriter {
public:
    /// Appends the low `bits` (0..56) bits of `value`, whose other bits are 0.
    void put(std::uint64_t value, int bits)
    {
        pending_ = pending_ << bits | value;
        held_ += bits;
        while (held_ >= 8) bytes_.push_back(static_cast<std::uint8_t>(pending_ >> (held_ -= 8)));
        pending_ &= (std::uint64_t{1} << held_) - 1;
    }

    /// Adds 1 to the number that the bits so far spell. They must not all be ones.
    void carry()
    {
        if (++pending_ >> held_ == 0) return;
        pending_ = 0;
        for (std::size_t i = bytes_.size(); i > 0 && ++bytes_[i - 1] == 0;) --i;
    }

    std::size_t bits() const { return 8 * bytes_.size() + static_cast<std::size_t>(held_); }

    /// The bytes, the last one filled with zero bits.
    std::vector<std::uint8_t> take()
    {
        put(0, (8 - held_) & 7);
        return std::move(bytes_);
    }

private:
    std::vector<std::uint8_t> bytes_;
    std::uint64_t pending_ = 0; // the last held_ (0..7) bits
    int held_ = 0;
};

} // namespace tesk
