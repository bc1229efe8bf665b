#include "filter/fft.h"
#include "filter/window_design.h"

#include <benchmark/benchmark.h>

#include <atomic>

namespace {

void transform(benchmark::State& state)
{
    const auto n = static_cast<std::size_t>(state.range(0));
    tesk::FftPlan plan(n);
    std::vector<std::complex<double>> x(n);
    for (std::size_t i = 0; i < n; ++i) x[i] = static_cast<double>(i % 97) - 48.0;
    const double scale = 1.0 / static_cast<double>(n);
    for (auto _ : state) {
        plan.forward(x.data());
        benchmark::DoNotOptimize(x.data());
        state.PauseTiming();
        for (auto& v : x) v *= scale; // keeps the numbers from growing without end
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(transform)->Arg(1 << 13)->Arg(1 << 16)->Arg(1 << 20)->Arg(1 << 22)->Arg(1000003)->UseRealTime()->Unit(
    benchmark::kMillisecond);

void plan(benchmark::State& state)
{
    for (auto _ : state) benchmark::DoNotOptimize(tesk::FftPlan(static_cast<std::size_t>(state.range(0))));
}
BENCHMARK(plan)->Arg(1 << 13)->Arg(1 << 20)->Unit(benchmark::kMillisecond);

void design(benchmark::State& state)
{
    tesk::FilterRequest request;
    request.oversampling = state.range(0) > 100000 ? 4096 : 64;
    request.taps = static_cast<int>(state.range(0));
    tesk::CollectingReporter reporter;
    std::atomic<std::uint8_t> flag{0};
    tesk::StopFlag stop(flag);
    auto settled = tesk::settleFilter(request, reporter);
    for (auto _ : state) benchmark::DoNotOptimize(tesk::designWindowFilter(*settled, reporter, stop));
}
BENCHMARK(design)->Arg(8192)->Arg(1048576)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
