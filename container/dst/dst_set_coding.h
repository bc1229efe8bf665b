// How the coefficients of a filter and the entries of a Ptable are sent: raw, or as Rice-coded residuals of a fixed
// predictor. Source: ISO/IEC 14496-3, subpart 10.
#pragma once

#include "container/dst/dst_bit_writer.h"

#include <cstdint>
#include <span>

namespace tesk {

enum class DstSet {
    filter, ///< coefficients, -256..255
    ptable, ///< entries, 1..128; at least two of them
};

struct DstSetCoding {
    bool rice = false;
    int method = 0;    ///< 0..2, the predictor looks back method + 1 values
    int lowBits = 0;   ///< of a Rice code, sent as they are
    unsigned bits = 0; ///< the whole set with its Coded bit, without the length before it
};

/// The cheapest of raw, and of every method and number of low bits (0..6 for filters, 0..4 for Ptables).
DstSetCoding cheapestDstCoding(DstSet kind, std::span<const std::int16_t> values);

/// Writes length, Coded bit and values.
void writeDstSet(DstBitWriter& out, DstSet kind, std::span<const std::int16_t> values, const DstSetCoding& coding);

} // namespace tesk
