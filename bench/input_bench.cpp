// Decoding of TTA: its adaptive filter, the reference against what the processor has.
#include "input/tta_filter.h"

#include <benchmark/benchmark.h>
#include <random>
#include <vector>

namespace {

void ttaFilter(benchmark::State& state, tesk::TtaFilter filter)
{
    constexpr std::size_t samples = 512;
    std::mt19937 random(1);
    std::normal_distribution<double> residual(0, 400);
    std::vector<std::int32_t> values(samples), piece(samples);
    for (auto& value : values) value = static_cast<std::int32_t>(residual(random));
    tesk::TtaFilterState history;
    for (auto _ : state) {
        piece = values;
        filter(history, tesk::ttaShifts(2), piece.data(), samples);
        benchmark::DoNotOptimize(piece.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

BENCHMARK_CAPTURE(ttaFilter, scalar, tesk::ttaFilterScalar);
BENCHMARK_CAPTURE(ttaFilter, fastest, tesk::ttaFilterFor(tesk::platform::cpuFeatures()));

} // namespace
