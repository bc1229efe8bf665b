// What each vector level gains over the plain loops.
#include "modulator/cifb_effect.h"
#include "modulator/mash_effect.h"
#include "modulator/noise_shaper_effect.h"
#include "modulator/ntf_designer.h"
#include "pipeline/kernel/dispatch.h"
#include "pipeline/kernel/error_feedback.h"
#include "pipeline/kernel/fir_upsample.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <vector>

namespace {

using namespace tesk::kernel;
using tesk::platform::CpuFeatures;

/// 0 plain, 1 AVX2+FMA, 2 AVX-512; the best level this processor has stands in for one it lacks.
KernelTable tableFor(std::int64_t level)
{
    CpuFeatures cpu = tesk::platform::cpuFeatures();
    if (level == 0) return scalarKernels();
    if (level == 1) cpu.avx512 = false;
    return kernelsFor(cpu);
}

std::vector<double> tone(std::size_t n, double level)
{
    std::vector<double> x(n);
    for (std::size_t i = 0; i < n; ++i) x[i] = level * std::sin(2 * M_PI * 1000 * static_cast<double>(i) / 2822400);
    return x;
}

/// 0: the default modulator, 1: direct form of order 9, 4 … 11: integrators.
ErrorFeedbackLoop loopFor(std::int64_t which)
{
    namespace m = tesk::modulator;
    if (which == 0) return {m::ns15Profile(), {1.02, 3.0, 0.75, 0.65, 0x1p-24, 0}};
    if (which == 1) return {m::UnifiedNoiseShaper(m::zerosForOrder(9, {}), 0.85, 64).sections(), m::kRestartingLoop};
    return ErrorFeedbackLoop::ofIntegrators(m::cifbCoefficients(static_cast<int>(which)), m::kRestartingLoop);
}

void modulator(benchmark::State& state)
{
    const KernelTable table = tableFor(state.range(0));
    const ErrorFeedbackLoop loop = loopFor(state.range(1));
    const auto input = tone(37632, 0.25);
    ErrorFeedbackState channel;
    std::vector<double> x;
    for (auto _ : state) {
        x = input;
        table.oneBit(loop, channel, x.data(), x.size());
        benchmark::DoNotOptimize(x.data());
    }
    state.SetLabel(table.level);
    state.counters["clips"] = static_cast<double>(channel.clips);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * input.size()));
}
BENCHMARK(modulator)->ArgsProduct({{0, 1, 2}, {0, 1, 4, 11}});

/// The topologies 421, 222 and 111, each without error feedback, with two taps and recursive; one channel.
void mash(benchmark::State& state)
{
    p2p::effect::MashEffect stage(static_cast<int>(state.range(0)),
                                  static_cast<p2p::effect::MashErrorFeedback>(state.range(1)),
                                  tesk::parallel::WorkerPool::instance());
    if (!stage.prepare({44100, 1, 0})) return state.SkipWithError("not prepared");
    const auto input = tone(37632, 0.25);
    std::vector<double> x;
    for (auto _ : state) {
        x = input;
        double* channel = x.data();
        if (!stage.process(&channel, x.size(), 1)) return state.SkipWithError("not processed");
        benchmark::DoNotOptimize(x.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * input.size()));
}
BENCHMARK(mash)->ArgsProduct({{421, 222, 111}, {0, 1, 2}});

void requantiser(benchmark::State& state)
{
    const KernelTable table = tableFor(state.range(0));
    std::vector<Sos> sections(8, Sos{1, -1, 0, -0.75, 0});
    const ErrorFeedbackLoop loop(sections, {1, 0, 1, 1, 0, 0x1p-15});
    const auto input = tone(37632, 0.25);
    ErrorFeedbackState channel;
    std::vector<double> x;
    for (auto _ : state) {
        x = input;
        table.uniform(loop, channel, x.data(), x.size());
        benchmark::DoNotOptimize(x.data());
    }
    state.SetLabel(table.level);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * input.size()));
}
BENCHMARK(requantiser)->DenseRange(0, 2);

/// Items are multiply-adds.
void oversampler(benchmark::State& state)
{
    const KernelTable table = tableFor(state.range(0));
    const std::size_t n = 588, L = 64, taps = 128;
    const PhaseTable phases(tone(L * taps, 1), L);
    const auto in = tone(n, 0.5);
    std::vector<double> history(taps + n), out(n * L);
    for (auto _ : state) {
        fir_upsample(in.data(), history.data(), out.data(), n, phases, 0, table, nullptr);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetLabel(table.level);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n * L * taps));
}
BENCHMARK(oversampler)->DenseRange(0, 2);

void packing(benchmark::State& state)
{
    const KernelTable table = tableFor(state.range(0));
    const auto x = tone(37632, 1);
    std::vector<std::uint8_t> out(x.size() / 8);
    for (auto _ : state) {
        table.pack(x.data(), out.data(), out.size(), true);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetLabel(table.level);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * x.size()));
}
BENCHMARK(packing)->DenseRange(0, 2);

} // namespace
