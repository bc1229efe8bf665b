// How TTA turns residuals into samples: an adaptive filter of eight taps, then a fixed predictor.
#pragma once

#include "platform/cpu_features.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tesk {

/// The memory of one channel; every block starts with a fresh one. Arithmetic wraps at 32 bits, hence unsigned.
struct alignas(16) TtaFilterState {
    std::array<std::uint32_t, 8> weights{}; // "qm"
    std::array<std::uint32_t, 8> steps{};   // "dx": what each weight moves by, signed
    std::array<std::uint32_t, 8> history{}; // "dl": four differences of rising order, then the samples behind them
    std::int32_t residual = 0;              // of the previous value; its sign says which way the weights move
    std::int32_t sample = 0;                // the fixed predictor's previous output
};

/// Both depend on the width of the samples alone.
struct TtaShifts {
    int filter;    ///< the weights are fixed point with so many fractional bits
    int predictor; ///< predicts sample · (1 − 2^−predictor)
};

/// 10/4 for samples of one byte, 9/5 for two, 10/5 for three.
TtaShifts ttaShifts(int sampleBytes);

/// Turns `count` residuals of one channel into samples, in place. Any cut gives the same samples.
using TtaFilter = void (*)(TtaFilterState& state, TtaShifts shifts, std::int32_t* values, std::size_t count);

/// The reference.
void ttaFilterScalar(TtaFilterState& state, TtaShifts shifts, std::int32_t* values, std::size_t count);

/// The fastest that the processor has; the same bits from all.
TtaFilter ttaFilterFor(platform::CpuFeatures cpu);

} // namespace tesk
