// The polyphase filter over a range of input positions.
//
// With g = PhaseTable::gain():
//     out[i·L]     = g · Σ_t history[i + t]     · coeffs[0][t]
//     out[i·L + p] = g · Σ_t history[i + 1 + t] · coeffs[p][t],   p = 1 … L−1
// Phase 0 reads the span that starts at i, the others the span one sample later. The vector forms lay both over
// one span of taps + 1 samples and fill the missing coefficient with a zero, so that all phases run alike.
#include "pipeline/kernel/loops.h"
#include "pipeline/kernel/phase_table.h"

#include <immintrin.h>

namespace tesk::kernel {
namespace {

using std::size_t;
constexpr size_t kGroup = PhaseTable::kGroup;

/// `Inputs` positions × 8 phases, held in registers over all taps. `valid` phases are stored.
template <int Inputs>
[[gnu::target("avx2,fma")]] void tileAvx2(const double* rows, size_t rowCount, const double* span, double gain,
                                          double* out, size_t stride, size_t valid)
{
    __m256d low[Inputs], high[Inputs];
    for (int j = 0; j < Inputs; ++j) low[j] = high[j] = _mm256_setzero_pd();
    for (size_t r = 0; r < rowCount; ++r) {
        const __m256d c0 = _mm256_load_pd(rows + r * kGroup);
        const __m256d c1 = _mm256_load_pd(rows + r * kGroup + 4);
        for (int j = 0; j < Inputs; ++j) {
            const __m256d x = _mm256_broadcast_sd(span + r + j);
            low[j] = _mm256_fmadd_pd(c0, x, low[j]);
            high[j] = _mm256_fmadd_pd(c1, x, high[j]);
        }
    }
    const __m256d g = _mm256_set1_pd(gain);
    for (int j = 0; j < Inputs; ++j) {
        double* y = out + static_cast<size_t>(j) * stride;
        if (valid == kGroup) {
            _mm256_storeu_pd(y, _mm256_mul_pd(low[j], g));
            _mm256_storeu_pd(y + 4, _mm256_mul_pd(high[j], g));
        } else {
            double lane[kGroup];
            _mm256_storeu_pd(lane, _mm256_mul_pd(low[j], g));
            _mm256_storeu_pd(lane + 4, _mm256_mul_pd(high[j], g));
            for (size_t k = 0; k < valid; ++k) y[k] = lane[k];
        }
    }
}

template <int Inputs>
[[gnu::target("avx512f")]] void tileAvx512(const double* rows, size_t rowCount, const double* span, double gain,
                                           double* out, size_t stride, size_t valid)
{
    __m512d sum[Inputs];
    for (auto& s : sum) s = _mm512_setzero_pd();
    for (size_t r = 0; r < rowCount; ++r) {
        const __m512d c = _mm512_load_pd(rows + r * kGroup);
        for (int j = 0; j < Inputs; ++j)
            sum[j] = _mm512_fmadd_pd(c, _mm512_set1_pd(span[r + static_cast<size_t>(j)]), sum[j]);
    }
    const __m512d g = _mm512_set1_pd(gain);
    const auto mask = static_cast<__mmask8>((1U << valid) - 1U);
    for (int j = 0; j < Inputs; ++j)
        _mm512_mask_storeu_pd(out + static_cast<size_t>(j) * stride, mask, _mm512_mul_pd(sum[j], g));
}

using Tile = void (*)(const double*, size_t, const double*, double, double*, size_t, size_t);

/// Group by group, so that one group's rows stay in the first-level cache while the input runs past them.
void runTiles(const PhaseTable& phases, const double* history, double* out, size_t first, size_t last, Tile wide,
              size_t width, Tile narrow)
{
    const size_t L = phases.phases(), rowCount = phases.taps() + 1;
    for (size_t g = 0; g < phases.groups(); ++g) {
        const double* rows = phases.group(g);
        const size_t base = g * kGroup, valid = L - base < kGroup ? L - base : kGroup;
        size_t i = first;
        for (; i + width <= last; i += width)
            wide(rows, rowCount, history + i, phases.gain(), out + i * L + base, L, valid);
        for (; i < last; ++i) narrow(rows, rowCount, history + i, phases.gain(), out + i * L + base, L, valid);
    }
}

} // namespace

void upsampleRangeByDots(const PhaseTable& phases, const double* history, double* out, size_t first, size_t last,
                         const KernelTable& table)
{
    const size_t L = phases.phases();
    const int taps = static_cast<int>(phases.taps());
    for (size_t i = first; i < last; ++i) {
        out[i * L] = table.dot_int(history + i, phases.phase(0), taps) * phases.gain();
        for (size_t p = 1; p < L; ++p)
            out[i * L + p] = table.dot_int(history + i + 1, phases.phase(p), taps) * phases.gain();
    }
}

void upsampleRangeAvx2(const PhaseTable& phases, const double* history, double* out, size_t first, size_t last,
                       const KernelTable&)
{
    runTiles(phases, history, out, first, last, tileAvx2<6>, 6, tileAvx2<1>);
}

void upsampleRangeAvx512(const PhaseTable& phases, const double* history, double* out, size_t first, size_t last,
                         const KernelTable&)
{
    runTiles(phases, history, out, first, last, tileAvx512<14>, 14, tileAvx512<1>);
}

} // namespace tesk::kernel
