#include "container/dst/dst_filter_kernels.h"

#include "container/dst/dst_format.h"
#include "container/dst/dst_ptable.h"

#include <algorithm>
#include <cstdlib>
#include <immintrin.h>

namespace tesk {
namespace {

void filterScalar(const std::int16_t* coefs, unsigned order, const std::int16_t* x, std::size_t count, std::int16_t* z)
{
    for (std::size_t n = 0; n < count; ++n) {
        int sum = 0;
        for (unsigned k = 0; k < order; ++k) sum += coefs[k] * x[static_cast<std::ptrdiff_t>(n) - 1 - k];
        z[n] = static_cast<std::int16_t>(sum);
    }
}

void correlateScalar(const std::int8_t* g, const std::uint8_t* bits, std::size_t count, unsigned order,
                     std::int64_t* sums)
{
    for (unsigned k = 0; k < order; ++k) {
        std::int64_t sum = 0;
        for (std::size_t n = 0; n < count; ++n) sum += g[n] * (2 * bits[static_cast<std::ptrdiff_t>(n) - 1 - k] - 1);
        sums[k] = sum;
    }
}

constexpr int kMostShortfall = 127;

std::size_t shortfallScalar(const std::int16_t* z, const std::int16_t* x, std::size_t count, int unitLog2,
                            std::int8_t* g)
{
    const int shift = unitLog2 - 6, unit = (1 << unitLog2) + ((1 << shift) >> 1);
    std::size_t free = 0;
    for (std::size_t n = 0; n < count; ++n) {
        const int lack = (unit - x[n] * z[n]) >> shift;
        free += lack > 0 && lack < kMostShortfall;
        g[n] = static_cast<std::int8_t>(x[n] * std::clamp(lack, 0, kMostShortfall));
    }
    return free;
}

void decideScalar(const std::int16_t* z, const std::int16_t* x, std::size_t count, std::uint8_t* decisions)
{
    for (std::size_t n = 0; n < count; ++n) {
        const unsigned index = std::min(std::abs(int{z[n]}) / kDstZPerEntry, int{kDstMaxPtableLength} - 1);
        decisions[n] = static_cast<std::uint8_t>(index | ((z[n] < 0) != (x[n] < 0) ? kDstWrongMark : 0));
    }
}

void eliminateScalar(double* row, const double* pivot, double factor, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) row[i] -= factor * pivot[i];
}

[[gnu::target("avx2")]] __m256i load(const std::int16_t* p)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

[[gnu::target("avx2")]] void store(std::int16_t* p, __m256i v)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

/// Sixteen-bit sums may wrap on the way; the last one fits.
[[gnu::target("avx2")]] void filterAvx2(const std::int16_t* coefs, unsigned order, const std::int16_t* x,
                                        std::size_t count, std::int16_t* z)
{
    constexpr std::size_t vectors = 8, step = 16 * vectors;
    std::size_t n = 0;
    for (; n + step <= count; n += step) {
        __m256i sum[vectors] = {};
        const std::int16_t* past = x + n - 1;
        for (unsigned k = 0; k < order; ++k, --past) {
            const __m256i coef = _mm256_set1_epi16(coefs[k]);
            for (std::size_t v = 0; v < vectors; ++v)
                sum[v] = _mm256_add_epi16(sum[v], _mm256_sign_epi16(coef, load(past + 16 * v)));
        }
        for (std::size_t v = 0; v < vectors; ++v) store(z + n + 16 * v, sum[v]);
    }
    filterScalar(coefs, order, x + n, count - n, z + n);
}

[[gnu::target("avx2")]] std::int64_t sumOfLanes(__m256i v)
{
    std::int16_t lanes[16];
    store(lanes, v);
    std::int64_t sum = 0;
    for (const std::int16_t lane : lanes) sum += lane;
    return sum;
}

/// Adds 2·Σ g[n]·bits[n−1−k] over one tile. A lane takes up at most 254 per vector of 32 samples.
template <unsigned lags>
[[gnu::target("avx2")]] void addTile(const std::int8_t* g, const std::uint8_t* bits, std::size_t count,
                                     std::int64_t* sums)
{
    __m256i sum[lags] = {};
    for (std::size_t n = 0; n < count; n += 32) {
        const __m256i now = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(g + n));
        for (unsigned l = 0; l < lags; ++l) {
            const auto* past = reinterpret_cast<const __m256i*>(bits + n - 1 - l);
            sum[l] = _mm256_add_epi16(sum[l], _mm256_maddubs_epi16(_mm256_loadu_si256(past), now));
        }
    }
    for (unsigned l = 0; l < lags; ++l) sums[l] += 2 * sumOfLanes(sum[l]);
}

/// A tile stays in the first cache while all lags pass over it.
[[gnu::target("avx2")]] void correlateAvx2(const std::int8_t* g, const std::uint8_t* bits, std::size_t count,
                                           unsigned order, std::int64_t* sums)
{
    constexpr std::size_t tile = 32 * 128; // 128·254 fits sixteen bits
    constexpr unsigned lags = 8;
    const std::size_t whole = count / 32 * 32;
    correlateScalar(g + whole, bits + whole, count - whole, order, sums);
    std::int64_t total = 0;
    for (std::size_t n = 0; n < whole; ++n) total += g[n];
    for (unsigned k = 0; k < order; ++k) sums[k] -= total;
    for (std::size_t first = 0; first < whole; first += tile) {
        const std::size_t n = std::min(tile, whole - first);
        unsigned k = 0;
        for (; k + lags <= order; k += lags) addTile<lags>(g + first, bits + first - k, n, sums + k);
        for (; k < order; ++k) addTile<1>(g + first, bits + first - k, n, sums + k);
    }
}

[[gnu::target("avx2,popcnt")]] std::size_t shortfallAvx2(const std::int16_t* z, const std::int16_t* x,
                                                         std::size_t count, int unitLog2, std::int8_t* g)
{
    const int shift = unitLog2 - 6;
    const __m256i none = _mm256_setzero_si256(), most = _mm256_set1_epi16(kMostShortfall);
    const __m256i unit = _mm256_set1_epi16(static_cast<std::int16_t>((1 << unitLog2) + ((1 << shift) >> 1)));
    const __m128i places = _mm_cvtsi32_si128(shift);
    std::size_t freeBytes = 0, n = 0;
    for (; n + 16 <= count; n += 16) {
        const __m256i sign = load(x + n);
        const __m256i gap = _mm256_subs_epi16(unit, _mm256_sign_epi16(load(z + n), sign)); // saturated: clipped anyhow
        const __m256i lack = _mm256_sra_epi16(gap, places);
        const __m256i free = _mm256_and_si256(_mm256_cmpgt_epi16(lack, none), _mm256_cmpgt_epi16(most, lack));
        freeBytes += static_cast<unsigned>(__builtin_popcount(static_cast<unsigned>(_mm256_movemask_epi8(free))));
        const __m256i signedLack = _mm256_sign_epi16(_mm256_min_epi16(_mm256_max_epi16(lack, none), most), sign);
        const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packs_epi16(signedLack, signedLack), 0x88);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(g + n), _mm256_castsi256_si128(bytes));
    }
    return freeBytes / 2 + shortfallScalar(z + n, x + n, count - n, unitLog2, g + n);
}

[[gnu::target("avx2")]] __m256i decisions16(const std::int16_t* z, const std::int16_t* x)
{
    const __m256i value = load(z), top = _mm256_set1_epi16(kDstMaxPtableLength - 1);
    const __m256i index = _mm256_min_epi16(_mm256_srli_epi16(_mm256_abs_epi16(value), 3), top);
    const __m256i differ = _mm256_srli_epi16(_mm256_xor_si256(value, load(x)), 15); // the signs do
    return _mm256_or_si256(index, _mm256_slli_epi16(differ, 6));
}

[[gnu::target("avx2")]] void decideAvx2(const std::int16_t* z, const std::int16_t* x, std::size_t count,
                                        std::uint8_t* decisions)
{
    std::size_t n = 0;
    for (; n + 32 <= count; n += 32) {
        const __m256i packed = _mm256_packus_epi16(decisions16(z + n, x + n), decisions16(z + n + 16, x + n + 16));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(decisions + n), _mm256_permute4x64_epi64(packed, 0xD8));
    }
    decideScalar(z + n, x + n, count - n, decisions + n);
}

[[gnu::target("avx2")]] void eliminateAvx2(double* row, const double* pivot, double factor, std::size_t count)
{
    const __m256d f = _mm256_set1_pd(factor);
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4)
        _mm256_storeu_pd(row + i,
                         _mm256_sub_pd(_mm256_loadu_pd(row + i), _mm256_mul_pd(f, _mm256_loadu_pd(pivot + i))));
    eliminateScalar(row + i, pivot + i, factor, count - i);
}

constexpr unsigned kTapsPerLookup = 6, kPatterns = 1u << kTapsPerLookup;
constexpr unsigned kMaxLookups = (kDstMaxOrder + kTapsPerLookup - 1) / kTapsPerLookup;

/// What six coefficients contribute for each pattern of six samples, the most recent in the low bit.
void contributions(const std::int16_t* coefs, unsigned taps, std::int16_t* table)
{
    int all[kPatterns]{};
    for (unsigned t = 0; t < taps; ++t) all[0] -= coefs[t];
    for (unsigned t = 0; t < kTapsPerLookup; ++t)
        for (unsigned p = 1u << t; p < 2u << t; ++p) all[p] = all[p - (1u << t)] + (t < taps ? 2 * coefs[t] : 0);
    for (unsigned p = 0; p < kPatterns; ++p) table[p] = static_cast<std::int16_t>(all[p]);
}

[[gnu::target("avx512bw")]] __m512i load512(const std::int16_t* p) { return _mm512_loadu_si512(p); }

/// patterns[n] = the six samples before x[n], n = 0..count−1, count a multiple of 32.
[[gnu::target("avx512bw")]] void patternsOf(const std::int16_t* x, std::size_t count, std::int16_t* patterns)
{
    const __m512i offset = _mm512_set1_epi16(kPatterns - 1);
    for (std::size_t n = 0; n < count; n += 32) {
        __m512i sum = load512(x + n - kTapsPerLookup);
        for (unsigned t = kTapsPerLookup - 1; t > 0; --t)
            sum = _mm512_add_epi16(_mm512_slli_epi16(sum, 1), load512(x + n - t));
        _mm512_storeu_si512(patterns + n, _mm512_srli_epi16(_mm512_add_epi16(sum, offset), 1));
    }
}

/// Six taps of 32 samples with one table lookup.
[[gnu::target("avx512bw")]] void filterAvx512(const std::int16_t* coefs, unsigned order, const std::int16_t* x,
                                              std::size_t count, std::int16_t* z)
{
    constexpr std::size_t tile = 2048, past = 128; // patterns before a tile
    static_assert(past + kTapsPerLookup <= kDstPast && past >= kTapsPerLookup * (kMaxLookups - 1));
    const unsigned lookups = (order + kTapsPerLookup - 1) / kTapsPerLookup;
    std::int16_t tables[kMaxLookups * kPatterns], patterns[past + tile];
    for (unsigned j = 0; j < lookups; ++j)
        contributions(coefs + kTapsPerLookup * j, std::min(kTapsPerLookup, order - kTapsPerLookup * j),
                      tables + kPatterns * j);
    const std::size_t whole = count / 128 * 128;
    for (std::size_t first = 0; first < whole; first += tile) {
        const std::size_t size = std::min(tile, whole - first);
        patternsOf(x + first - past, past + size, patterns);
        for (std::size_t n = 0; n < size; n += 128) {
            __m512i sum[4] = {};
            for (unsigned j = 0; j < lookups; ++j) {
                const __m512i low = load512(tables + kPatterns * j), high = load512(tables + kPatterns * j + 32);
                const std::int16_t* at = patterns + past + n - kTapsPerLookup * j;
                for (unsigned v = 0; v < 4; ++v)
                    sum[v] = _mm512_add_epi16(sum[v], _mm512_permutex2var_epi16(low, load512(at + 32 * v), high));
            }
            for (unsigned v = 0; v < 4; ++v) _mm512_storeu_si512(z + first + n + 32 * v, sum[v]);
        }
    }
    filterAvx2(coefs, order, x + whole, count - whole, z + whole);
}

} // namespace

DstFilterKernels scalarDstKernels()
{
    return {"scalar", filterScalar, correlateScalar, shortfallScalar, decideScalar, eliminateScalar};
}

DstFilterKernels dstKernelsFor(const platform::CpuFeatures& cpu)
{
    DstFilterKernels kernels = scalarDstKernels();
    if (cpu.avx2) kernels = {"AVX2", filterAvx2, correlateAvx2, shortfallAvx2, decideAvx2, eliminateAvx2};
    if (cpu.avx2 && cpu.avx512bw) {
        kernels.level = "AVX-512";
        kernels.filter = filterAvx512;
    }
    return kernels;
}

} // namespace tesk
