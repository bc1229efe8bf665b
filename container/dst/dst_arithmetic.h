// The arithmetic decoder: 12-bit range, no adaptation.
#pragma once

#include "container/dst/dst_format.h"

#include <bit>
#include <cstring>
#include <span>

namespace tesk {

/// Range and code stand in the twelve highest bits of their words; the bits that follow the code wait below it.
class DstArithmetic {
public:
    static constexpr int kPlace = 52;
    static constexpr std::uint64_t entry(unsigned ptableEntry) { return std::uint64_t{ptableEntry} << kPlace; }

    DstArithmetic() = default;
    /// @param bitPosition  of the code's first bit within `frame`
    DstArithmetic(std::span<const std::uint8_t> frame, std::size_t bitPosition)
        : next_(frame.data() + bitPosition / 8), end_(frame.data() + frame.size()), loaded_(bitPosition / 8 * 8)
    {
        refill();
        const int skipped = static_cast<int>(bitPosition % 8);
        code_ <<= skipped;
        valid_ -= skipped;
    }

    /// To be called at least before every fourth decision: one uses up to 8 bits and looks at 12.
    void fill()
    {
        if (valid_ < 3 * 8 + 12) [[unlikely]]
            refill();
    }
    /// @param entry  1..128, from `entry`
    /// @return       whether the prediction is wrong
    bool wrong(std::uint64_t entry)
    {
        const std::uint64_t width = (range_ >> 60 | (range_ >> 59 & 1)) * entry;
        const std::uint64_t right = range_ - width;
        // Selected with a mask: the outcome is what no branch predictor can foresee.
        const bool isWrong = code_ >= right;
        const std::uint64_t mask = std::uint64_t{0} - isWrong;
        const std::uint64_t range = right ^ ((right ^ width) & mask);
        const std::uint64_t code = code_ - (right & mask);
        const int shift = __builtin_clzll(range);
        range_ = range << shift;
        code_ = code << shift;
        valid_ -= shift;
        return isWrong;
    }
    /// Bits of the frame read so far, the twelve of the code included, zeros past the end too.
    std::size_t position() const { return loaded_ - static_cast<std::size_t>(valid_) + 12; }

private:
    std::uint64_t eightBytes() const
    {
        std::uint64_t bytes = 0;
        if (end_ - next_ >= 8) [[likely]]
            std::memcpy(&bytes, next_, 8);
        else
            std::memcpy(&bytes, next_, static_cast<std::size_t>(end_ - next_));
        return __builtin_bswap64(bytes);
    }
    // Bits that are read but not counted stay where they are: the next call puts the same ones there.
    void refill()
    {
        if (valid_ > 56) return;
        code_ |= eightBytes() >> valid_;
        const int bytes = (64 - valid_) / 8;
        valid_ += 8 * bytes;
        loaded_ += 8 * static_cast<std::size_t>(bytes);
        next_ = end_ - next_ < bytes ? end_ : next_ + bytes;
    }

    std::uint64_t range_ = std::uint64_t{kDstRangeStart} << kPlace, code_ = 0;
    int valid_ = 0; // bits of code_ that are counted
    const std::uint8_t *next_ = nullptr, *end_ = nullptr;
    std::size_t loaded_ = 0; // position behind the counted bits
};

} // namespace tesk
