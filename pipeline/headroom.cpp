#include "pipeline/headroom.h"

#include "pipeline/conversion_block.h"

#include <algorithm>
#include <cmath>

namespace tesk {
namespace {

constexpr double kMarginDb = 0.5;

} // namespace

std::optional<double> oversampledPeakDbfs(const Pcm2pdm& job)
{
    const StreamPlan& plan = job.plan;
    Oversampler oversampler(job);
    std::vector<const double*> input(plan.channels);
    double peak = 0;
    for (std::uint64_t position = 0; position < plan.totalFrames; position += plan.blockFrames) {
        if (job.stop.pending()) return {};
        for (std::uint32_t c = 0; c < plan.channels; ++c) input[c] = job.recording.signal.channel(c) + position;
        const auto frames = std::min<std::uint64_t>(plan.blockFrames, plan.totalFrames - position);
        double** samples = oversampler.process(input.data(), static_cast<std::size_t>(frames));
        for (std::uint32_t c = 0; c < plan.channels; ++c)
            peak = std::max(peak, job.kernels.peak(samples[c], plan.blockSamples()));
    }
    return 20 * std::log10(2 * peak);
}

Status settleHeadroom(Pcm2pdm& job)
{
    const Headroom& headroom = job.settings.headroom;
    if (headroom.kind == Headroom::Kind::fixed) {
        job.plan.inputGain *= std::pow(10.0, -headroom.db / 20);
        job.report.line("Headroom:", "%.2f dB, as asked\n", headroom.db);
    }
    if (headroom.kind != Headroom::Kind::automatic) return {};
    const auto peak = oversampledPeakDbfs(job);
    if (!peak) return kHostStopped;
    // Without a modulator only the file's full scale is in the way, and the oversampled signal is at half of it.
    const double limit = job.modulator ? job.modulator->overloadOnsetDbfs() : 20 * std::log10(2.0);
    const double wanted = limit - kMarginDb;
    const double attenuation = std::max(0.0, *peak - wanted);
    job.plan.inputGain *= std::pow(10.0, -attenuation / 20);
    job.report.line("Headroom:", "%.2f dB (oversampled peak %.2f dBFS, %s asks for at most %.2f dBFS)\n", attenuation,
                    *peak, job.modulator ? "modulator" : "file", wanted);
    return {};
}

} // namespace tesk
