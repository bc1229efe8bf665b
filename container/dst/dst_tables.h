// What stands in a coded frame before its arithmetic-coded data: segments, their tables, filters and Ptables.
#pragma once

#include "container/dst/dst_bits.h"
#include "container/dst/dst_format.h"

#include <array>

namespace tesk {

/// What can be wrong with a frame.
enum class DstFault {
    none,
    illegalArithmeticCode,
    arithmeticDecoding,
    tableType,
    segmentLength,
    segmentResolution,
    tableNumber,
    tooManySegments,
    tooManySegmentsForChannel,
    tooManyTables,
    segmentCountsDiffer,
    mappingNotSame,
    ptableMethod,
    coefficientMethod,
    ptableEntry,
    coefficientRange,
    negativeBits,
};

/// How each channel is cut, and which table serves a piece. Lengths are whole bytes of the channel.
struct DstSegments {
    std::array<unsigned, kDstMaxChannels> count{};                                       ///< at least 1
    std::array<std::array<std::uint32_t, kDstMaxPtableSegments>, kDstMaxChannels> end{}; ///< byte behind the piece
    std::array<std::array<std::uint8_t, kDstMaxPtableSegments>, kDstMaxChannels> table{};
};

struct DstFrameFilter {
    unsigned order = 0;                                   ///< 1..128
    std::array<std::int16_t, kDstMaxOrder> coefficient{}; ///< [0] belongs to the newest sample; 0 from `order` on
};

struct DstFramePtable {
    unsigned length = 0;                                   ///< 1..64
    std::array<std::uint8_t, kDstMaxPtableLength> entry{}; ///< 1..128
};

struct DstTables {
    DstSegments filterSegments, ptableSegments;
    std::array<bool, kDstMaxChannels> halfProbability{}; ///< for the first `order` samples of the channel
    unsigned filterCount = 0, ptableCount = 0;
    std::array<DstFrameFilter, kDstMaxTables> filters;
    std::array<DstFramePtable, kDstMaxTables> ptables;
};

/// Reads everything up to the arithmetic-coded data. `bits` stands behind the first bit of the frame.
/// A frame that ends before its tables do is `negativeBits`, whatever else the zeros past its end look like.
DstFault readDstTables(DstBitReader& bits, std::uint32_t channels, std::uint32_t bytesPerChannel, DstTables& tables);

} // namespace tesk
