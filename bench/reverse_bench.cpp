// DSD to PCM: the decimators alone. Items are seconds of stereo sound: items per second are times real time.
#include "pipeline/kernel/dispatch.h"
#include "reverse/decimator.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <random>

namespace {

using namespace tesk;

DecimationPlan stereoPlan(std::uint32_t decimation, double dsdRate)
{
    DecimationPlan plan;
    plan.channels = 2;
    plan.dsdRate = dsdRate;
    plan.decimation = decimation;
    const double cutoff = dsdRate / decimation / 2;
    plan.cornerHz = std::max(cutoff, 30000.0);
    plan.fir = designSinc(std::clamp<std::size_t>(64 * decimation, 128, 65536), cutoff / dsdRate, 10);
    return plan;
}

/// A second in pieces of `bytes` per channel; ranges: multiple of 44100 Hz, decimation, threads.
void decimate(benchmark::State& state, Decimator& decimator, std::size_t bytes)
{
    const double dsdRate = 44100.0 * static_cast<double>(state.range(0));
    std::mt19937 random(1);
    std::vector<std::uint8_t> bits(static_cast<std::size_t>(dsdRate / 8));
    for (auto& b : bits) b = static_cast<std::uint8_t>(random());
    std::vector<double> left(decimator.maxFrames(bytes)), right(left.size());
    double* const out[] = {left.data(), right.data()};
    for (auto _ : state)
        for (std::size_t i = 0; i < bits.size(); i += bytes) {
            const std::uint8_t* const in[] = {bits.data() + i, bits.data() + i};
            decimator.process(in, std::min(bytes, bits.size() - i), out);
            benchmark::DoNotOptimize(left.data());
        }
    state.SetItemsProcessed(state.iterations());
}

void joined(benchmark::State& state)
{
    const auto decimator = makeJoinedDecimator(
        stereoPlan(static_cast<std::uint32_t>(state.range(1)), 44100.0 * static_cast<double>(state.range(0))),
        static_cast<unsigned>(state.range(2)), kernel::kernels(state.range(3) != 0), parallel::WorkerPool::instance());
    decimate(state, *decimator, 65536);
}

void staged(benchmark::State& state)
{
    StageOptions options;
    options.threads = static_cast<unsigned>(state.range(2));
    const auto decimator = makeStagedDecimator(
        stereoPlan(static_cast<std::uint32_t>(state.range(1)), 44100.0 * static_cast<double>(state.range(0))), options,
        kernel::kernels(state.range(3) != 0), parallel::WorkerPool::instance(), nullptr);
    decimate(state, *decimator, 4096);
}

void design(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(makeJoinedDecimator(
            stereoPlan(static_cast<std::uint32_t>(state.range(1)), 44100.0 * static_cast<double>(state.range(0))), 1,
            kernel::kernels(), parallel::WorkerPool::instance()));
}

void cases(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"dsd", "decimation", "threads", "simd"})->UseRealTime()->Unit(benchmark::kMillisecond);
    for (const auto& [multiple, decimation] : {std::pair{64, 8}, {64, 16}, {64, 32}, {64, 64}, {256, 256}})
        for (const int threads : {1, 2}) b->Args({multiple, decimation, threads, 1});
    b->Args({64, 64, 1, 0});
}
BENCHMARK(joined)->Apply(cases);
BENCHMARK(staged)->Apply(cases);
BENCHMARK(design)->Apply(cases);

} // namespace
