// The arithmetic coder of a frame: decisions and their probabilities in, bits out.
// Source: ISO/IEC 14496-3, subpart 10.
#pragma once

#include "container/dst/dst_bit_writer.h"
#include "container/dst/dst_format.h"

namespace tesk {

class DstArithmeticEncoder {
public:
    /// Starts behind what `out` holds. The first bit is reserved: no carry ever reaches it.
    explicit DstArithmeticEncoder(DstBitWriter& out) : out_(out) { out_.put(0, 1); }

    /// @param wrong  whether the prediction failed
    /// @param entry  1..128: 256 times the probability that it fails
    void encode(bool wrong, unsigned entry)
    {
        const unsigned width = dstWrongWidth(range_, entry);
        const unsigned right = range_ - width; // the lower part of the interval
        low_ += wrong ? right : 0;
        range_ = wrong ? width : right;
        const int shift = std::countl_zero(range_) - kRangeZeros;
        range_ <<= shift;
        low_ <<= shift;
        held_ += shift;
        if (held_ >= 32) {
            emit(low_ >> kLowBits, held_);
            low_ &= (1 << kLowBits) - 1;
            held_ = 0;
        }
    }

    /// Ends with the one bit that names a multiple of 2048 inside the interval. To be called once.
    void finish() { emit((low_ + 2047) >> (kLowBits - 1), held_ + 1); }

private:
    static constexpr int kLowBits = 12;
    static constexpr int kRangeZeros = 32 - kLowBits; // leading zeros of a range of 2048 or more

    void emit(std::uint64_t value, int bits)
    {
        if (value >> bits) out_.carry();
        out_.put(value & ((std::uint64_t{1} << bits) - 1), bits);
    }

    DstBitWriter& out_;
    unsigned range_ = kDstRangeStart;
    std::uint64_t low_ = 0; // held_ bits not yet emitted, with room for a carry, and the 12 below them
    int held_ = 0;
};

} // namespace tesk
