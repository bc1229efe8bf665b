// The error-feedback loops in blocks of eight, at one vector level.
#include "pipeline/kernel/error_feedback.h"
#include "pipeline/kernel/loops.h"

#include <algorithm>
#include <cmath>
#include <immintrin.h>

#define TESK_TARGET [[gnu::target("avx512f,fma")]]

namespace tesk::kernel {
namespace {

/// u and state of the next block, in registers of eight and one of four. Two running sums each, the even columns and
/// the odd, so that no addition waits for the one before it.
/// @tparam count  rows that are not always zero, the first ones: 16, 20 or 24
template <int count>
struct Rows {
    static constexpr int kVectors = count / 8;
    static constexpr bool kHalf = count % 8 != 0; // four rows more
    __m512d sum[2][kVectors];
    __m256d half[2];
    TESK_TARGET void clear()
    {
        for (int p = 0; p < 2; ++p) {
            for (auto& s : sum[p]) s = _mm512_setzero_pd();
            half[p] = _mm256_setzero_pd();
        }
    }
    TESK_TARGET void add(int index, const double* column, __m128d factor)
    {
        const __m512d f = _mm512_set1_pd(_mm_cvtsd_f64(factor));
        const int p = index % 2;
        for (int k = 0; k < kVectors; ++k) sum[p][k] = _mm512_fmadd_pd(_mm512_load_pd(column + 8 * k), f, sum[p][k]);
        if (kHalf)
            half[p] = _mm256_fmadd_pd(_mm256_load_pd(column + 8 * kVectors), _mm256_broadcastsd_pd(factor), half[p]);
    }
    /// Keeps the compiler from putting the sums off until they are needed: they fill the time between decisions.
    TESK_TARGET void settle()
    {
        for (int p = 0; p < 2; ++p) {
            for (auto& s : sum[p]) __asm__ volatile("" : "+v"(s));
            if (kHalf) __asm__ volatile("" : "+v"(half[p]));
        }
    }
    TESK_TARGET void store(double* u, double* states) const
    {
        for (int k = 0; k < kVectors; ++k)
            _mm512_store_pd(k < 1 ? u : states + 8 * (k - 1), _mm512_add_pd(sum[0][k], sum[1][k]));
        if (kHalf) _mm256_store_pd(states + 8 * (kVectors - 1), _mm256_add_pd(half[0], half[1]));
    }
};

#include "pipeline/kernel/error_feedback_block.inl"

} // namespace

TESK_TARGET void oneBitAvx512(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n)
{
    oneBitLoop(loop, state, x, n);
}

TESK_TARGET void uniformAvx512(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n)
{
    blockLoop<UniformDecision>(loop, state, x, n);
}

} // namespace tesk::kernel
