// DST decoding of stereo DSD64 at order 128: each vector level, one frame at a time and in pairs, and all workers.
#include "container/dst/dst_decoder.h"
#include "container/dst/dst_encoder.h"
#include "platform/cpu_features.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <random>

namespace {

constexpr std::uint32_t kChannels = 2, kRate = 2822400, kBytes = kRate / 600;
constexpr std::size_t kFrames = 38;

/// Two tones with noise through a third-order error feedback loop.
std::vector<std::uint8_t> modulated(std::size_t frames)
{
    std::vector<std::uint8_t> out(frames * kChannels * kBytes);
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0.0, 0.45);
    for (std::uint32_t c = 0; c < kChannels; ++c) {
        double e1 = 0, e2 = 0, e3 = 0;
        for (std::size_t n = 0; n < frames * kBytes * 8; ++n) {
            const double t = static_cast<double>(n) / kRate;
            const double v = 0.25 * std::sin(2 * M_PI * 1000 * t) + 0.2 * std::sin(2 * M_PI * (3100 + 70 * c) * t) +
                             2.2 * e1 - 1.72 * e2 + 0.46 * e3;
            const bool bit = v + noise(random) >= 0;
            e3 = e2, e2 = e1, e1 = std::clamp(v - (bit ? 1 : -1), -2.0, 2.0);
            out[n / 8 * kChannels + c] |= static_cast<std::uint8_t>(bit << (7 - n % 8));
        }
    }
    return out;
}

const std::vector<std::vector<std::uint8_t>>& codedFrames()
{
    static const auto frames = [] {
        const auto sound = modulated(kFrames);
        tesk::DstEncoder encoder;
        std::vector<std::vector<std::uint8_t>> coded;
        if (!encoder.init({kChannels, kRate, kBytes, 128})) std::abort();
        for (std::size_t f = 0; f < kFrames; ++f) {
            auto frame = encoder.encode(std::span(sound).subspan(f * kChannels * kBytes, kChannels * kBytes));
            if (!frame) std::abort();
            coded.push_back(*frame);
        }
        return coded;
    }();
    return frames;
}

template <class Decode>
void decodeAll(benchmark::State& state, Decode decode)
{
    std::vector<std::uint8_t> out(kFrames * kChannels * kBytes);
    std::vector<tesk::DstFrameJob> jobs;
    for (std::size_t f = 0; f < kFrames; ++f)
        jobs.push_back({codedFrames()[f], std::span(out).subspan(f * kChannels * kBytes, kChannels * kBytes)});
    for (auto _ : state) decode(jobs);
    state.counters["x_real_time"] = benchmark::Counter(
        static_cast<double>(state.iterations() * kFrames) / tesk::kDstFramesPerSecond, benchmark::Counter::kIsRate);
}

tesk::DstSimdLevel lowered(std::int64_t level)
{
    const auto best = tesk::chooseDstSimd(tesk::platform::cpuFeatures(), nullptr, true).level;
    return std::min(best, static_cast<tesk::DstSimdLevel>(level));
}

/// Arguments: level, frames at a time.
void decoding(benchmark::State& state)
{
    tesk::CollectingReporter report;
    tesk::DstDecoder decoder(lowered(state.range(0)));
    if (!decoder.init(kChannels, kRate, report)) std::abort();
    decodeAll(state, [&](std::span<tesk::DstFrameJob> jobs) {
        if (state.range(1) == 2) return decoder.decode(jobs);
        for (tesk::DstFrameJob& job : jobs) decoder.decode({&job, 1});
    });
}
BENCHMARK(decoding)->ArgsProduct({{0, 20, 40, 50}, {1, 2}});

void decodingOnAllWorkers(benchmark::State& state)
{
    tesk::CollectingReporter report;
    tesk::DstParallelDecoder decoder(lowered(50));
    if (!decoder.init(kChannels, kRate, report)) std::abort();
    decodeAll(state, [&](std::span<tesk::DstFrameJob> jobs) {
        if (!decoder.decodeFrames(jobs, 0, report)) std::abort();
    });
}
BENCHMARK(decodingOnAllWorkers)->UseRealTime();

} // namespace
