#include "filter/chebyshev_report.h"
#include "filter/fft.h"
#include "filter/minimum_phase.h"
#include "filter/prototype_design.h"
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

/// The coefficients of the chosen number of taps at 128 of them per phase, whose cost the shape does not change.
std::vector<double> designedTaps(int taps, tesk::FilterPlan& plan)
{
    tesk::FilterRequest request;
    request.oversampling = taps / 128;
    request.taps = taps;
    tesk::CollectingReporter reporter;
    std::atomic<std::uint8_t> flag{0};
    tesk::StopFlag stop(flag);
    plan = *tesk::settleFilter(request, reporter);
    return *tesk::designWindowFilter(plan, reporter, stop);
}

void fitPolynomial(benchmark::State& state)
{
    tesk::FilterPlan plan;
    const auto taps = designedTaps(static_cast<int>(state.range(0)), plan);
    const auto degree = static_cast<int>(state.range(1));
    for (auto _ : state) benchmark::DoNotOptimize(tesk::ChebyshevFitter::create(taps, degree)->fit(degree));
}
BENCHMARK(fitPolynomial)
    ->Args({8192, 256})
    ->Args({1 << 17, 256})
    ->Args({1 << 17, 1024})
    ->Args({1 << 20, 1024})
    ->Unit(benchmark::kMillisecond);

void searchPolynomial(benchmark::State& state)
{
    tesk::FilterPlan plan;
    const auto taps = designedTaps(static_cast<int>(state.range(0)), plan);
    for (auto _ : state) {
        const auto fitter = tesk::ChebyshevFitter::create(taps, tesk::kMostPolyDegree);
        benchmark::DoNotOptimize(tesk::searchDegree(*fitter, tesk::kLeastAutoDegree, tesk::kAutoTargetDb));
    }
}
BENCHMARK(searchPolynomial)->Arg(8192)->Arg(1 << 17)->Unit(benchmark::kMillisecond);

void reportPolynomial(benchmark::State& state)
{
    tesk::FilterPlan plan;
    const auto taps = designedTaps(static_cast<int>(state.range(0)), plan);
    const auto fir = tesk::ChebyshevFitter::create(taps, 256)->fit(256);
    const auto fitted = tesk::evaluateChebyshev(fir);
    for (auto _ : state) benchmark::DoNotOptimize(tesk::compareChebyshev(taps, fitted, fir, plan));
}
BENCHMARK(reportPolynomial)->Arg(8192)->Arg(1 << 17)->Arg(1 << 20)->UseRealTime()->Unit(benchmark::kMillisecond);

/// The plan of 44.1 kHz at ratio 64: taps and grid density.
void remez(benchmark::State& state)
{
    tesk::FilterRequest request;
    request.remez = true;
    request.bitDepth = 16;
    request.taps = static_cast<int>(state.range(0));
    request.gridDensity = static_cast<int>(state.range(1));
    tesk::CollectingReporter reporter;
    std::atomic<std::uint8_t> flag{0};
    tesk::StopFlag stop(flag);
    auto settled = tesk::settleFilter(request, reporter);
    for (auto _ : state) {
        auto taps = tesk::designPrototype(*settled, reporter, stop);
        if (!taps) return state.SkipWithError(reporter.text.c_str());
        benchmark::DoNotOptimize(taps->data());
    }
}
BENCHMARK(remez)
    ->Args({512, 128})
    ->Args({1024, 128})
    ->Args({2048, 16})
    ->Args({2048, 128})
    ->Unit(benchmark::kMillisecond);

void minimumPhase(benchmark::State& state)
{
    const auto n = static_cast<std::size_t>(state.range(0));
    std::vector<double> taps(n);
    for (std::size_t i = 0; i < n; ++i) taps[i] = 1.0 / (1.0 + static_cast<double>(i > n / 2 ? i - n / 2 : n / 2 - i));
    for (auto _ : state) benchmark::DoNotOptimize(tesk::minimumPhase(taps));
}
BENCHMARK(minimumPhase)->Arg(8192)->Arg(1 << 20)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
