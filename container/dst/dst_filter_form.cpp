#include "container/dst/dst_filter_form.h"

#include <algorithm>
#include <immintrin.h>
#include <numeric>

namespace tesk {
namespace {

using Coefficients = std::array<std::int16_t, kDstMaxOrder + kDstAhead>;

void layOutInByte(const Coefficients& coefficient, std::array<std::int16_t, 256>& sums)
{
    sums[0] = sums[1] = 0;
    for (unsigned marked = 2; marked < 256; ++marked) {
        int sum = 0;
        for (int bit = 0; marked >> (bit + 1); ++bit) // the highest one is the mark
            if (marked >> bit & 1) sum += 2 * coefficient[static_cast<std::size_t>(bit)];
        sums[marked] = static_cast<std::int16_t>(sum);
    }
}

/// rows[value][i] = scale · Σ coef[first + bit + i] over the set bits of `value`
template <class T, std::size_t kSamples>
void layOutRows(const std::int16_t* first, int scale, T (*rows)[kSamples])
{
    std::fill_n(rows[0], kSamples, T{0});
    for (unsigned value = 1; value < 16; ++value) {
        const unsigned rest = value & (value - 1);
        const std::int16_t* coefficient = first + std::countr_zero(value);
        for (std::size_t i = 0; i < kSamples; ++i)
            rows[value][i] = static_cast<T>(rows[rest][i] + scale * coefficient[i]);
    }
}

// The formula as it stands, and what the others are held against.
void aheadScalar(const DstFilterForm& form, const DstHistory& history, std::int32_t* z)
{
    std::int16_t v[kDstAhead + kDstMaxOrder]; // newest first; what is not decoded yet counts as 0
    std::fill_n(v, kDstAhead, std::int16_t{-1});
    for (unsigned k = 0; k < kDstMaxOrder; ++k)
        v[kDstAhead + k] = ((k < 64 ? history.newer >> k : history.older >> (k - 64)) & 1) ? 1 : -1;
    for (unsigned i = 0; i < kDstAhead; ++i) {
        int sum = 0;
        for (unsigned k = 0; k < 4 * form.groups; ++k) sum += form.coefficient[k] * v[kDstAhead + k - i];
        z[i] = sum;
    }
}

/// Four bits of history after the other, newest first.
class Nibbles {
public:
    explicit Nibbles(const DstHistory& history) : history_(history) {}
    unsigned operator[](unsigned group) const
    {
        return static_cast<unsigned>((group < 16 ? history_.newer : history_.older) >> (4 * (group % 16)) & 15);
    }

private:
    const DstHistory& history_;
};

[[gnu::target("sse4.1")]] void storeWide(__m128i sums, std::int32_t allZeros, std::int32_t* z)
{
    const __m128i base = _mm_set1_epi32(allZeros);
    const __m128i low = _mm_cvtepi16_epi32(sums), high = _mm_cvtepi16_epi32(_mm_srli_si128(sums, 8));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(z), _mm_add_epi32(base, _mm_add_epi32(low, low)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(z + 4), _mm_add_epi32(base, _mm_add_epi32(high, high)));
}

// Sums over set bits lie in −32768..32640, so 16-bit lanes hold them where z itself would not fit.
[[gnu::target("sse4.1")]] void aheadSse41(const DstFilterForm& form, const DstHistory& history, std::int32_t* z)
{
    const Nibbles nibbles(history);
    __m128i low = _mm_setzero_si128(), high = low;
    for (unsigned g = 0; g < form.groups; ++g) {
        const auto* row = reinterpret_cast<const __m128i*>(form.ahead[g][nibbles[g]]);
        low = _mm_add_epi16(low, _mm_load_si128(row));
        high = _mm_add_epi16(high, _mm_load_si128(row + 1));
    }
    storeWide(low, form.allZeros, z);
    storeWide(high, form.allZeros, z + 8);
}

[[gnu::target("avx2")]] __m256i sumOfRows(__m256i sum, const std::int16_t (*rows)[16][kDstAhead], std::uint64_t bits,
                                          unsigned groups)
{
    for (unsigned g = 0; g < groups; ++g, bits >>= 4)
        sum = _mm256_add_epi16(sum, _mm256_load_si256(reinterpret_cast<const __m256i*>(rows[g][bits & 15])));
    return sum;
}

[[gnu::target("avx2")]] void aheadAvx2(const DstFilterForm& form, const DstHistory& history, std::int32_t* z)
{
    __m256i sum = sumOfRows(_mm256_setzero_si256(), form.ahead, history.newer, std::min(form.groups, 16U));
    if (form.groups > 16) sum = sumOfRows(sum, form.ahead + 16, history.older, form.groups - 16);
    const __m256i base = _mm256_set1_epi32(form.allZeros);
    const __m256i low = _mm256_cvtepi16_epi32(_mm256_castsi256_si128(sum));
    const __m256i high = _mm256_cvtepi16_epi32(_mm256_extracti128_si256(sum, 1));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(z), _mm256_add_epi32(base, _mm256_add_epi32(low, low)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(z + 8), _mm256_add_epi32(base, _mm256_add_epi32(high, high)));
}

// Sample i of the sixteen sees the history moved up by i bits; four of them choose one of a group's sixteen sums,
// which a permutation fetches for all samples together.
[[gnu::target("avx512f")]] void aheadAvx512(const DstFilterForm& form, const DstHistory& history, std::int32_t* z)
{
    constexpr __mmask16 kAll = 0xFFFF; // the forms without a mask make GCC 12 warn of its own headers
    const __m512i up = _mm512_set_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    const __m512i down = _mm512_sub_epi32(_mm512_set1_epi32(32), up);
    __m512i sum = _mm512_setzero_si512(), below = sum;
    for (unsigned word = 0; 8 * word < form.groups; ++word) {
        const std::uint64_t both = word < 2 ? history.newer : history.older;
        const __m512i here = _mm512_set1_epi32(static_cast<int>(both >> (32 * (word % 2))));
        __m512i bits =
            _mm512_or_si512(_mm512_maskz_sllv_epi32(kAll, here, up), _mm512_maskz_srlv_epi32(kAll, below, down));
        for (unsigned g = 8 * word; g < 8 * word + 8; ++g) {
            sum = _mm512_add_epi32(sum, _mm512_maskz_permutexvar_epi32(kAll, bits, _mm512_load_si512(form.sum[g])));
            bits = _mm512_maskz_srli_epi32(kAll, bits, 4);
        }
        below = here;
    }
    const __m512i base = _mm512_set1_epi32(form.allZeros);
    _mm512_storeu_si512(z, _mm512_add_epi32(base, _mm512_add_epi32(sum, sum)));
}

} // namespace

void layOut(const DstFrameFilter& filter, DstSimdLevel level, DstFilterForm& form)
{
    form.groups = (filter.order + 3) / 4;
    form.coefficient.fill(0);
    std::copy_n(filter.coefficient.begin(), filter.order, form.coefficient.begin());
    form.allZeros = -std::accumulate(form.coefficient.begin(), form.coefficient.end(), 0);
    layOutInByte(form.coefficient, form.inByte);
    for (unsigned half = 0; half < 2; ++half) layOutRows(&form.coefficient[4 * half], 2, form.lastByte[half]);
    const unsigned wholeWords = (form.groups + 7) / 8 * 8;
    for (unsigned g = 0; level == kDstAvx512 && g < wholeWords; ++g)
        for (unsigned value = 0; value < 16; ++value) {
            form.sum[g][value] = 0;
            for (unsigned bit = 0; bit < 4; ++bit)
                if (value >> bit & 1) form.sum[g][value] += form.coefficient[4 * g + bit];
        }
    for (unsigned g = 0; (level == kDstSse41 || level == kDstAvx2) && g < form.groups; ++g)
        layOutRows(&form.coefficient[4 * g], 1, form.ahead[g]);
}

DstLookAhead dstLookAhead(DstSimdLevel level)
{
    switch (level) {
    case kDstAvx512: return aheadAvx512;
    case kDstAvx2: return aheadAvx2;
    case kDstSse41: return aheadSse41;
    case kDstScalar:
    case kDstNeon: break;
    }
    return aheadScalar;
}

} // namespace tesk
