// The numbers both sides of DST share: sizes, limits and the fixed predictors of the table coding.
// Source: ISO/IEC 14496-3, subpart 10 (Direct Stream Transfer).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace tesk {

inline constexpr unsigned kDstFramesPerSecond = 75;
inline constexpr std::uint32_t kDstMaxBytesPerChannel = 20480; ///< of a frame; DSD of 12.288 MHz
inline constexpr std::uint32_t kDstMaxChannels = 6;
inline constexpr unsigned kDstMaxTables = 2 * kDstMaxChannels; ///< filters of a frame, and Ptables of a frame

inline constexpr unsigned kDstMaxOrder = 128; ///< coefficients of a filter, at least 1
inline constexpr int kDstCoefficientBits = 9; ///< two's complement, -256..255
inline constexpr int kDstOrderBits = 7;       ///< order - 1
inline constexpr unsigned kDstMaxPtableLength = 64;
inline constexpr int kDstPtableEntryBits = 7;  ///< entry - 1
inline constexpr int kDstPtableLengthBits = 6; ///< length - 1
inline constexpr int kDstHalf = 128;           ///< an entry counts 1/256: the probability of a wrong prediction
inline constexpr int kDstZPerEntry = 8;        ///< |z| div 8 chooses the entry

inline constexpr unsigned kDstMaxFilterSegments = 4, kDstMinFilterSegmentBits = 1024; ///< per channel
inline constexpr unsigned kDstMaxPtableSegments = 8, kDstMinPtableSegmentBits = 32;   ///< per channel

/// Every history starts as 0 1 0 1 ... with the 0 nearest; newest bit in the low place.
inline constexpr std::uint8_t kDstStartHistory = 0xAA;

inline constexpr unsigned kDstRangeStart = 4095; ///< of the arithmetic coder's 12-bit range

/// Bytes of one channel in a frame.
constexpr std::uint32_t dstBytesPerChannel(std::uint32_t dsdRate) { return dsdRate / (8 * kDstFramesPerSecond); }

/// Binary digits of v, 0 for 0: the width of a field that holds 0..v.
constexpr int dstDigits(std::uint32_t v) { return std::bit_width(v); }

/// Width given to a wrong prediction in the interval `range` (2048..4095) for a Ptable entry. An OR, not a sum.
constexpr unsigned dstWrongWidth(unsigned range, unsigned entry) { return (range >> 8 | (range >> 7 & 1)) * entry; }

/// The entry for the frame's very first decision, 1..128: the low seven bits of the first filter's first
/// coefficient in reverse order, plus one.
constexpr unsigned dstFirstEntry(int coefficient)
{
    unsigned reversed = 0;
    for (int i = 0; i < 7; ++i) reversed = reversed << 1 | (static_cast<unsigned>(coefficient) >> i & 1);
    return reversed + 1;
}

/// Predictors of the Rice-coded sets, negated, in eighths; [method][distance - 1], method + 1 of them count.
inline constexpr int kDstRiceMethods = 3;
inline constexpr int kDstFilterPredictor[kDstRiceMethods][3] = {{-8, 0, 0}, {-16, 8, 0}, {-9, -5, 6}};
inline constexpr int kDstPtablePredictor[kDstRiceMethods][3] = {{-8, 0, 0}, {-16, 8, 0}, {-24, 24, -8}};

/// The negated prediction of the value behind `last`, rounded. `last` points at the newest of the at least
/// method + 1 values known. A set sends r = value + this.
template <class T>
constexpr int dstNegatedPrediction(const int (&predictor)[3], int method, const T* last)
{
    int x = 0;
    for (int k = 0; k <= method; ++k) x += predictor[k] * static_cast<int>(last[-k]);
    return x >= 0 ? (x + 4) / 8 : -((-x + 3) / 8);
}

/// A frame's bytes when it is sent without coding: one byte 0, then the sound.
constexpr std::size_t dstPlainFrameBytes(std::uint32_t channels, std::uint32_t bytesPerChannel)
{
    return std::size_t{channels} * bytesPerChannel + 1;
}

} // namespace tesk
