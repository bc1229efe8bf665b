#include "input/tta_filter.h"

#include <algorithm>
#include <immintrin.h>

namespace tesk {
namespace {

std::int32_t asSigned(std::uint32_t value) { return static_cast<std::int32_t>(value); }
std::uint32_t asUnsigned(std::int32_t value) { return static_cast<std::uint32_t>(value); }

std::uint32_t withSignOf(std::uint32_t magnitude, std::uint32_t of)
{
    return asSigned(of) >= 0 ? magnitude : 0 - magnitude;
}

/// The fixed predictor: y[n] = x[n] + floor(y[n−1] · (2^p − 1) / 2^p), the product in 64 bits.
std::int32_t addPrediction(std::int32_t x, std::int32_t previous, int p)
{
    const std::int64_t product = std::int64_t{previous} * ((std::int64_t{1} << p) - 1);
    return asSigned(asUnsigned(x) + static_cast<std::uint32_t>(product >> p));
}

void adaptWeights(TtaFilterState& s)
{
    if (s.residual == 0) return;
    for (std::size_t i = 0; i < 8; ++i) s.weights[i] += s.residual < 0 ? 0 - s.steps[i] : s.steps[i];
}

void remember(TtaFilterState& s, std::uint32_t x)
{
    auto& steps = s.steps;
    auto& past = s.history;
    std::copy(steps.begin() + 1, steps.begin() + 5, steps.begin());
    steps[4] = withSignOf(1, past[4]);
    steps[5] = withSignOf(2, past[5]);
    steps[6] = withSignOf(2, past[6]);
    steps[7] = withSignOf(4, past[7]);
    std::copy(past.begin() + 1, past.begin() + 5, past.begin());
    const std::uint32_t first = x - past[7], second = first - past[6], third = second - past[5];
    past[4] = third;
    past[5] = second;
    past[6] = first;
    past[7] = x;
}

/// Two registers of four where the reference has eight. The chain from one sample to the next is subtract, multiply,
/// add up four lanes, shift, add: the sample is kept in all lanes, so that it never leaves the vector unit.
[[gnu::target("sse4.1")]] void filterSse41(TtaFilterState& s, TtaShifts shifts, std::int32_t* values, std::size_t count)
{
    const auto at = [](std::uint32_t* p) { return reinterpret_cast<__m128i*>(p); };
    __m128i weightsLow = _mm_load_si128(at(&s.weights[0])), weightsHigh = _mm_load_si128(at(&s.weights[4]));
    __m128i stepsLow = _mm_load_si128(at(&s.steps[0])), stepsHigh = _mm_load_si128(at(&s.steps[4]));
    __m128i pastLow = _mm_load_si128(at(&s.history[0])), pastHigh = _mm_load_si128(at(&s.history[4]));
    __m128i residual = _mm_set1_epi32(s.residual);
    const __m128i half = _mm_cvtsi32_si128(1 << (shifts.filter - 1)); // in one lane: the lanes are summed
    const __m128i shift = _mm_cvtsi32_si128(shifts.filter);
    const __m128i magnitudes = _mm_setr_epi32(1, 2, 2, 4);
    for (std::size_t i = 0; i < count; ++i) {
        weightsLow = _mm_add_epi32(weightsLow, _mm_sign_epi32(stepsLow, residual));
        weightsHigh = _mm_add_epi32(weightsHigh, _mm_sign_epi32(stepsHigh, residual));
        __m128i sum = _mm_add_epi32(_mm_add_epi32(_mm_mullo_epi32(weightsLow, pastLow), half),
                                    _mm_mullo_epi32(weightsHigh, pastHigh));
        sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, _MM_SHUFFLE(1, 0, 3, 2)));
        sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, _MM_SHUFFLE(2, 3, 0, 1)));
        residual = _mm_set1_epi32(values[i]);
        const __m128i x = _mm_add_epi32(residual, _mm_sra_epi32(sum, shift));

        stepsLow = _mm_alignr_epi8(stepsHigh, stepsLow, 4);
        const __m128i negative = _mm_srai_epi32(pastHigh, 31);
        stepsHigh = _mm_sub_epi32(_mm_xor_si128(magnitudes, negative), negative);
        pastLow = _mm_alignr_epi8(pastHigh, pastLow, 4);
        // x less {5 + 6 + 7, 6 + 7, 7, nothing} of the old history
        const __m128i last = _mm_srli_si128(pastHigh, 4);
        const __m128i lastTwo = _mm_add_epi32(last, _mm_srli_si128(pastHigh, 8));
        pastHigh = _mm_sub_epi32(x, _mm_add_epi32(lastTwo, _mm_srli_si128(pastHigh, 12)));
        values[i] = s.sample = addPrediction(_mm_cvtsi128_si32(x), s.sample, shifts.predictor);
    }
    _mm_store_si128(at(&s.weights[0]), weightsLow);
    _mm_store_si128(at(&s.weights[4]), weightsHigh);
    _mm_store_si128(at(&s.steps[0]), stepsLow);
    _mm_store_si128(at(&s.steps[4]), stepsHigh);
    _mm_store_si128(at(&s.history[0]), pastLow);
    _mm_store_si128(at(&s.history[4]), pastHigh);
    s.residual = _mm_cvtsi128_si32(residual);
}

} // namespace

TtaShifts ttaShifts(int sampleBytes)
{
    return {.filter = sampleBytes == 2 ? 9 : 10, .predictor = sampleBytes == 1 ? 4 : 5};
}

void ttaFilterScalar(TtaFilterState& s, TtaShifts shifts, std::int32_t* values, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        adaptWeights(s);
        std::uint32_t sum = 1u << (shifts.filter - 1);
        for (std::size_t tap = 0; tap < 8; ++tap) sum += s.weights[tap] * s.history[tap];
        s.residual = values[i];
        const std::uint32_t x = asUnsigned(s.residual) + asUnsigned(asSigned(sum) >> shifts.filter);
        remember(s, x);
        values[i] = s.sample = addPrediction(asSigned(x), s.sample, shifts.predictor);
    }
}

TtaFilter ttaFilterFor(platform::CpuFeatures cpu) { return cpu.sse41 ? filterSse41 : ttaFilterScalar; }

} // namespace tesk
