// Which form of the prediction filter's inner product the DST decoder uses. Pure: the caller asks once per process,
// prints, and hands the level on.
#pragma once

#include "platform/cpu_features.h"

#include <string>

namespace tesk {

enum DstSimdLevel : int {
    kDstScalar = 0,
    kDstSse41 = 20,
    kDstAvx2 = 40, ///< with the bit counts that every such processor but a masked one has
    kDstAvx512 = 50,
    kDstNeon = 60, ///< can be asked for; no x86 processor has it
};

struct DstSimdChoice {
    DstSimdLevel level = kDstScalar;
    std::string refusal; ///< for standard error: why the variable was not followed; empty when it was
    std::string line;    ///< "[DST] decode SIMD: ... [cpu: ...]\n"
};

/// @param variable  the value of TESK_DST_SIMD, null when it is not set. It may lower the level: a value that begins
///                  with 0, sse, avx2, avx512 or neon asks for that one, any other for the best.
/// @param simd      false: the whole engine runs without vector code, whatever the variable says
DstSimdChoice chooseDstSimd(const platform::CpuFeatures& cpu, const char* variable, bool simd);

} // namespace tesk
