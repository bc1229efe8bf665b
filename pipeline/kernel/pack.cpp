// Decisions to bits.
#include "pipeline/kernel/loops.h"

#include <immintrin.h>

namespace tesk::kernel {
namespace {

std::uint8_t reversedBits(unsigned byte)
{
    byte = ((byte & 0xF0) >> 4) | ((byte & 0x0F) << 4);
    byte = ((byte & 0xCC) >> 2) | ((byte & 0x33) << 2);
    return static_cast<std::uint8_t>(((byte & 0xAA) >> 1) | ((byte & 0x55) << 1));
}

} // namespace

void packScalar(const double* x, std::uint8_t* out, std::size_t bytes, bool firstInLowBit)
{
    for (std::size_t i = 0; i < bytes; ++i) {
        unsigned byte = 0;
        for (int k = 0; k < 8; ++k)
            if (x[8 * i + static_cast<std::size_t>(k)] >= 0.0) byte |= 1U << (firstInLowBit ? k : 7 - k);
        out[i] = static_cast<std::uint8_t>(byte);
    }
}

[[gnu::target("avx2")]] void packAvx2(const double* x, std::uint8_t* out, std::size_t bytes, bool firstInLowBit)
{
    const __m256d zero = _mm256_setzero_pd();
    for (std::size_t i = 0; i < bytes; ++i) {
        const int low = _mm256_movemask_pd(_mm256_cmp_pd(_mm256_loadu_pd(x + 8 * i), zero, _CMP_GE_OQ));
        const int high = _mm256_movemask_pd(_mm256_cmp_pd(_mm256_loadu_pd(x + 8 * i + 4), zero, _CMP_GE_OQ));
        const auto byte = static_cast<unsigned>(low | (high << 4));
        out[i] = firstInLowBit ? static_cast<std::uint8_t>(byte) : reversedBits(byte);
    }
}

} // namespace tesk::kernel
