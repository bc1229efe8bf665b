// Inner products. The variants differ only in the order of the additions.
#include "pipeline/kernel/loops.h"

#include <algorithm>
#include <immintrin.h>

namespace tesk::kernel {
namespace {

/// The last products, fewer than the vector loop takes at once: four at a time, then one by one.
double dotTail(const double* a, const double* b, int i, int n, double sum)
{
    for (; i + 4 <= n; i += 4) sum += a[i] * b[i] + a[i + 1] * b[i + 1] + a[i + 2] * b[i + 2] + a[i + 3] * b[i + 3];
    for (; i < n; ++i) sum += a[i] * b[i];
    return sum;
}

int clampCount(std::size_t n) { return static_cast<int>(std::min<std::size_t>(n, 0x7FFFFFFF)); }

} // namespace

double dotScalar(const double* a, const double* b, int n)
{
    double sum = 0;
    for (int i = 0; i < n; ++i) sum += a[i] * b[i];
    return sum;
}

double dotSse2(const double* a, const double* b, int n)
{
    __m128d sum = _mm_setzero_pd();
    int i = 0;
    for (; i + 2 <= n; i += 2) sum = _mm_add_pd(sum, _mm_mul_pd(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
    double lane[2];
    _mm_storeu_pd(lane, sum);
    return dotTail(a, b, i, n, lane[0] + lane[1]);
}

// The wide forms end in a jump to the tail; without clearing the registers' upper halves first, all SSE code behind
// them waits for those halves.
[[gnu::target("avx,fma")]] double dotAvxFma(const double* a, const double* b, int n)
{
    __m256d sum0 = _mm256_setzero_pd(), sum1 = _mm256_setzero_pd();
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        sum0 = _mm256_fmadd_pd(_mm256_loadu_pd(a + i), _mm256_loadu_pd(b + i), sum0);
        sum1 = _mm256_fmadd_pd(_mm256_loadu_pd(a + i + 4), _mm256_loadu_pd(b + i + 4), sum1);
    }
    double lane[4];
    _mm256_storeu_pd(lane, _mm256_add_pd(sum0, sum1));
    _mm256_zeroupper();
    return dotTail(a, b, i, n, (lane[0] + lane[1]) + (lane[2] + lane[3]));
}

[[gnu::target("avx2,fma")]] double dotAvx2(const double* a, const double* b, int n)
{
    // Eight accumulators of two doubles, sixteen products a pass.
    __m128d sum[8];
    for (auto& s : sum) s = _mm_setzero_pd();
    int i = 0;
    for (; i + 16 <= n; i += 16)
        for (int k = 0; k < 8; ++k)
            sum[k] = _mm_fmadd_pd(_mm_loadu_pd(a + i + 2 * k), _mm_loadu_pd(b + i + 2 * k), sum[k]);
    for (int k = 0; k < 4; ++k) sum[k] = _mm_add_pd(sum[k], sum[k + 4]);
    const __m128d total = _mm_add_pd(_mm_add_pd(sum[0], sum[1]), _mm_add_pd(sum[2], sum[3]));
    double lane[2];
    _mm_storeu_pd(lane, total);
    return dotTail(a, b, i, n, lane[0] + lane[1]);
}

[[gnu::target("avx512f")]] double dotAvx512(const double* a, const double* b, int n)
{
    __m512d sum0 = _mm512_setzero_pd(), sum1 = _mm512_setzero_pd();
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        sum0 = _mm512_fmadd_pd(_mm512_loadu_pd(a + i), _mm512_loadu_pd(b + i), sum0);
        sum1 = _mm512_fmadd_pd(_mm512_loadu_pd(a + i + 8), _mm512_loadu_pd(b + i + 8), sum1);
    }
    double lane[8];
    _mm512_storeu_pd(lane, _mm512_add_pd(sum0, sum1));
    const double total = ((lane[0] + lane[1]) + (lane[2] + lane[3])) + ((lane[4] + lane[5]) + (lane[6] + lane[7]));
    _mm256_zeroupper();
    return dotTail(a, b, i, n, total);
}

double dotSizeScalar(const double* a, const double* b, std::size_t n) { return dotScalar(a, b, clampCount(n)); }
double dotSizeSse2(const double* a, const double* b, std::size_t n) { return dotSse2(a, b, clampCount(n)); }
double dotSizeAvxFma(const double* a, const double* b, std::size_t n) { return dotAvxFma(a, b, clampCount(n)); }
double dotSizeAvx2(const double* a, const double* b, std::size_t n) { return dotAvx2(a, b, clampCount(n)); }
double dotSizeAvx512(const double* a, const double* b, std::size_t n) { return dotAvx512(a, b, clampCount(n)); }

} // namespace tesk::kernel
