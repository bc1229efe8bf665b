// A prediction filter laid out for the inner product, and the inner product itself in a form per vector level.
//
// z(n) = Σ coef[k] · v(n−1−k) with v = ±1 is never summed up sample by sample. The history known at sample n gives its
// share of z for the sixteen samples that follow, all at once; bits still unknown count as 0, that is as −1, and
// every 1 that is then decoded adds 2 · coef.
#pragma once

#include "container/dst/dst_simd.h"
#include "container/dst/dst_tables.h"

namespace tesk {

inline constexpr unsigned kDstAhead = 16; ///< samples that one inner product serves

/// The last 128 bits of a channel. Bit 0 of `newer` is the newest, bit 63 of `older` the oldest.
struct DstHistory {
    std::uint64_t newer = 0, older = 0;

    void append(std::uint8_t byte)
    {
        older = older << 8 | newer >> 56;
        newer = newer << 8 | byte;
    }
};

struct DstFilterForm {
    unsigned groups = 0;       ///< of four coefficients
    std::int32_t allZeros = 0; ///< z for a history of nothing but zeros: −Σ coef

    std::array<std::int16_t, kDstMaxOrder + kDstAhead> coefficient{}; ///< zeros behind the order
    /// What the bits decoded within a byte add. Index: a 1, then these bits, the newest last.
    std::array<std::int16_t, 256> inByte{};
    /// What the byte just decoded adds to the eight samples behind it: [half, newest first][its four bits][sample]
    std::int32_t lastByte[2][16][8];
    /// Sums of the coefficients at set bits, [four bits of history, newest first][their value][sample ahead]
    alignas(64) std::int16_t ahead[kDstMaxOrder / 4][16][kDstAhead];
    /// The same for four coefficients under one sample: [group][value]
    alignas(64) std::int32_t sum[kDstMaxOrder / 4][16];
};

/// Fills what `level` needs.
void layOut(const DstFrameFilter& filter, DstSimdLevel level, DstFilterForm& form);

/// @param z  [16]  shares of the sixteen next samples, as above
using DstLookAhead = void (*)(const DstFilterForm& form, const DstHistory& history, std::int32_t* z);

/// The form of a level. The caller answers for the processor having it; neon gives the plain one.
DstLookAhead dstLookAhead(DstSimdLevel level);

} // namespace tesk
