// The error-feedback loops in blocks of eight, at one vector level.
#include "pipeline/kernel/error_feedback.h"
#include "pipeline/kernel/loops.h"

#include <algorithm>
#include <cmath>
#include <immintrin.h>

#define TESK_TARGET [[gnu::target("avx512f,fma")]]

namespace tesk::kernel {
namespace {

/// u and state of the next block, in registers of eight. Two running sums each, the even columns and the odd, so
/// that no addition waits for the one before it.
struct Rows {
    __m512d sum[2][3];
    TESK_TARGET void clear()
    {
        for (auto& half : sum)
            for (auto& s : half) s = _mm512_setzero_pd();
    }
    TESK_TARGET void add(int index, const double* column, __m128d factor)
    {
        const __m512d f = _mm512_set1_pd(_mm_cvtsd_f64(factor));
        __m512d* s = sum[index % 2];
        for (int k = 0; k < 3; ++k) s[k] = _mm512_fmadd_pd(_mm512_load_pd(column + 8 * k), f, s[k]);
    }
    /// Keeps the compiler from putting the sums off until they are needed: they fill the time between decisions.
    TESK_TARGET void settle()
    {
        for (auto& half : sum)
            for (auto& s : half) __asm__ volatile("" : "+v"(s));
    }
    TESK_TARGET void store(double* u, double* states) const
    {
        for (int k = 0; k < 3; ++k)
            _mm512_store_pd(k < 1 ? u : states + 8 * (k - 1), _mm512_add_pd(sum[0][k], sum[1][k]));
    }
};

#include "pipeline/kernel/error_feedback_block.inl"

} // namespace

TESK_TARGET void oneBitAvx512(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n)
{
    if (loop.integrators().empty())
        blockLoop<OneBitDecision>(loop, state, x, n);
    else
        blockLoop<OneBitDecision, true>(loop, state, x, n);
}

TESK_TARGET void uniformAvx512(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n)
{
    blockLoop<UniformDecision>(loop, state, x, n);
}

} // namespace tesk::kernel
