// The largest magnitude of a block.
#include "pipeline/kernel/loops.h"

#include <algorithm>
#include <cmath>
#include <immintrin.h>

namespace tesk::kernel {

double peakScalar(const double* x, std::size_t n)
{
    double top = 0;
    for (std::size_t i = 0; i < n; ++i)
        if (std::fabs(x[i]) > top) top = std::fabs(x[i]);
    return top;
}

[[gnu::target("avx")]] double peakAvx(const double* x, std::size_t n)
{
    const __m256d sign = _mm256_set1_pd(-0.0);
    __m256d top[4];
    for (auto& t : top) t = _mm256_setzero_pd();
    std::size_t i = 0;
    for (; i + 16 <= n; i += 16)
        for (int k = 0; k < 4; ++k) // |x| comes first: a NaN then loses, as in the plain loop
            top[k] = _mm256_max_pd(_mm256_andnot_pd(sign, _mm256_loadu_pd(x + i + 4 * k)), top[k]);
    double lane[4];
    _mm256_storeu_pd(lane, _mm256_max_pd(_mm256_max_pd(top[0], top[1]), _mm256_max_pd(top[2], top[3])));
    return std::max({lane[0], lane[1], lane[2], lane[3], peakScalar(x + i, n - i)});
}

} // namespace tesk::kernel
