// The error-feedback loops in blocks of eight, at one vector level.
#include "pipeline/kernel/error_feedback.h"
#include "pipeline/kernel/loops.h"

#include <algorithm>
#include <cmath>
#include <immintrin.h>

#define TESK_TARGET [[gnu::target("avx2,fma")]]

namespace tesk::kernel {
namespace {

/// u and state of the next block, in registers of four. Two running sums each, the even columns and the odd, so
/// that no addition waits for the one before it.
/// @tparam count  rows that are not always zero, the first ones
template <int count>
struct Rows {
    static constexpr int kVectors = count / 4;
    __m256d sum[2][kVectors];
    TESK_TARGET void clear()
    {
        for (auto& half : sum)
            for (auto& s : half) s = _mm256_setzero_pd();
    }
    TESK_TARGET void add(int index, const double* column, __m128d factor)
    {
        const __m256d f = _mm256_broadcastsd_pd(factor);
        __m256d* s = sum[index % 2];
        for (int k = 0; k < kVectors; ++k) s[k] = _mm256_fmadd_pd(_mm256_load_pd(column + 4 * k), f, s[k]);
    }
    /// Keeps the compiler from putting the sums off until they are needed: they fill the time between decisions.
    TESK_TARGET void settle()
    {
        for (auto& half : sum)
            for (auto& s : half) __asm__ volatile("" : "+x"(s));
    }
    TESK_TARGET void store(double* u, double* states) const
    {
        for (int k = 0; k < kVectors; ++k)
            _mm256_store_pd(k < 2 ? u + 4 * k : states + 4 * (k - 2), _mm256_add_pd(sum[0][k], sum[1][k]));
    }
};

#include "pipeline/kernel/error_feedback_block.inl"

} // namespace

TESK_TARGET void oneBitAvx2(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n)
{
    oneBitLoop(loop, state, x, n);
}

TESK_TARGET void uniformAvx2(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n)
{
    blockLoop<UniformDecision>(loop, state, x, n);
}

} // namespace tesk::kernel
