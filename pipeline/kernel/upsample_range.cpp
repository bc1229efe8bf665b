// The polyphase filter over a range of input positions.
//
// With g = PhaseTable::gain():
//     out[i·L]     = g · Σ_t history[i + t]     · coeffs[0][t]
//     out[i·L + p] = g · Σ_t history[i + 1 + t] · coeffs[p][t],   p = 1 … L−1
// Phase 0 reads the span that starts at i, the others the span one sample later. The vector forms lay both over
// one span of taps + 1 samples and fill the missing coefficient with a zero, so that all phases run alike.
#include "pipeline/kernel/loops.h"
#include "pipeline/kernel/phase_table.h"

#include <algorithm>
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

/// `Groups` × 8 phases and `Inputs` positions. With two groups every sample that is spread over a register serves
/// two multiply-adds, so the loads no longer bound the loop.
template <int Inputs, int Groups>
[[gnu::target("avx512f")]] void tileAvx512(const double* rows, size_t rowCount, const double* span, double gain,
                                           double* out, size_t stride, size_t valid)
{
    const size_t groupStride = rowCount * kGroup;
    __m512d sum[Groups][Inputs];
    for (auto& group : sum)
        for (auto& s : group) s = _mm512_setzero_pd();
    for (size_t r = 0; r < rowCount; ++r) {
        __m512d c[Groups];
        for (int g = 0; g < Groups; ++g)
            c[g] = _mm512_load_pd(rows + static_cast<size_t>(g) * groupStride + r * kGroup);
        for (int j = 0; j < Inputs; ++j) {
            const __m512d x = _mm512_set1_pd(span[r + static_cast<size_t>(j)]);
            for (int g = 0; g < Groups; ++g) sum[g][j] = _mm512_fmadd_pd(c[g], x, sum[g][j]);
        }
    }
    const __m512d scale = _mm512_set1_pd(gain);
    for (int g = 0; g < Groups; ++g) {
        const auto mask = static_cast<__mmask8>(g + 1 < Groups ? 0xFF : (1U << valid) - 1U);
        for (int j = 0; j < Inputs; ++j)
            _mm512_mask_storeu_pd(out + static_cast<size_t>(j) * stride + static_cast<size_t>(g) * kGroup, mask,
                                  _mm512_mul_pd(sum[g][j], scale));
    }
}

using Tile = void (*)(const double*, size_t, const double*, double, double*, size_t, size_t);

/// A tile over `groups` groups of phases and `inputs` positions, and its form for a single position.
struct Tiling {
    size_t groups, inputs;
    Tile wide, narrow;
};

/// Phases from `firstGroup` on, as many groups at a time as the tile takes, so that their rows stay in the
/// first-level cache while the input runs past them. Answers the first group that is left.
size_t runTiles(const Tiling& tiling, const PhaseTable& phases, const double* history, double* out, size_t first,
                size_t last, size_t firstGroup)
{
    const size_t L = phases.phases(), rowCount = phases.taps() + 1;
    size_t g = firstGroup;
    for (; g + tiling.groups <= phases.groups(); g += tiling.groups) {
        const double* rows = phases.group(g);
        const size_t base = g * kGroup, lastBase = base + (tiling.groups - 1) * kGroup;
        const size_t valid = std::min(L - lastBase, kGroup);
        size_t i = first;
        for (; i + tiling.inputs <= last; i += tiling.inputs)
            tiling.wide(rows, rowCount, history + i, phases.gain(), out + i * L + base, L, valid);
        for (; i < last; ++i) tiling.narrow(rows, rowCount, history + i, phases.gain(), out + i * L + base, L, valid);
    }
    return g;
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
    runTiles({1, 6, tileAvx2<6>, tileAvx2<1>}, phases, history, out, first, last, 0);
}

void upsampleRangeAvx512(const PhaseTable& phases, const double* history, double* out, size_t first, size_t last,
                         const KernelTable&)
{
    const size_t odd = runTiles({2, 12, tileAvx512<12, 2>, tileAvx512<1, 2>}, phases, history, out, first, last, 0);
    runTiles({1, 14, tileAvx512<14, 1>, tileAvx512<1, 1>}, phases, history, out, first, last, odd);
}

} // namespace tesk::kernel
