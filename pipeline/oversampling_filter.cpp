#include "pipeline/oversampling_filter.h"

#include "filter/prototype_design.h"
#include "pipeline/design_reports.h"
#include "pipeline/filter_compression.h"

#include <algorithm>
#include <cmath>

namespace tesk {
namespace {

FilterRequest filterRequest(const Pcm2pdm& job)
{
    const ConversionSettings& s = job.settings;
    FilterRequest r;
    r.sampleRate = r.sourceRate = static_cast<int>(job.plan.pcmRate);
    r.oversampling = static_cast<int>(job.plan.factor);
    r.bitDepth = job.recording.info.isFloat ? 32 : job.recording.info.bitsPerSample;
    r.stopGainAlpha = s.stopgainAlpha;
    // At small ratios the usual scale would ask for next to no attenuation, and no modulator's noise covers the images.
    if (s.dxd) r.alphaScale = 1.0;
    r.passbandCutoff = s.passbandCutoff;
    r.stopbandCutoff = s.stopbandCutoff;
    r.deltaF = s.deltaF;
    r.taps = s.taps;
    r.beta = s.beta;
    r.highBandwidth = s.highBandwidth;
    r.filterType = s.filterType;
    r.windowType = s.windowType;
    r.apodizingMode = s.apodizingMode;
    r.minimumPhase = s.minimumPhase;
    r.remez = s.remez;
    r.gridDensity = s.gridDensity;
    r.maxIterations = s.maxIterations;
    r.predistortion = s.predistortion;
    for (const EqBand& band : s.eqBands) r.eqBands.push_back({band.centreHz, band.gainDb, band.widthHz});
    r.pdmChannels = static_cast<int>(job.plan.channels);
    return r;
}

void settleGuard(Pcm2pdm& job)
{
    std::uint64_t guard = job.phases->taps();
    job.report.line("Report", "FIR guard samples: %zu PCM samples\n", static_cast<std::size_t>(guard));
    if (guard > kGuardFrames) {
        job.report.warning("FIR guard %zu samples exceeds reserved slack %u; clamping\n",
                           static_cast<std::size_t>(guard), static_cast<unsigned>(kGuardFrames));
        guard = kGuardFrames;
    }
    StreamPlan& plan = job.plan;
    plan.guardFrames = guard;
    plan.totalFrames = job.recording.signal.frames() + guard;
    plan.blockCount = (plan.totalFrames + plan.blockFrames - 1) / plan.blockFrames;
    job.report.line("Report", "Total PCM samples (incl. guard): %zu\n", static_cast<std::size_t>(plan.totalFrames));
}

} // namespace

Status designOversamplingFilter(Pcm2pdm& job)
{
    auto plan = settleFilter(filterRequest(job), job.report);
    if (!plan) return plan.status();
    auto prototype = designPrototype(*plan, job.report, job.stop);
    if (!prototype) return prototype.status();
    reportDesignedFilter(job, *prototype);
    if (compressesFilter(job.settings))
        if (Status status = compressFilter(job, *plan, *prototype); !status) return status;
    reportFinalFilter(job, *prototype);
    job.phases = std::make_unique<kernel::PhaseTable>(*prototype, static_cast<std::size_t>(plan->phases));
    const auto louder = [](double a, double b) { return std::abs(a) < std::abs(b); };
    // The kernel is one sample late, and what is left of whole phases falls away in front.
    job.filterDelay = 1 + static_cast<std::uint64_t>(std::max_element(prototype->begin(), prototype->end(), louder) -
                                                     prototype->begin());
    job.filterDelay -= std::min<std::uint64_t>(prototype->size() % job.phases->phases(), job.filterDelay);
    // The threshold is a level of the music; the oversampled signal is at half scale.
    if (job.settings.noiseThresholdDb)
        job.expansionThreshold = 0.5 * std::pow(10.0, *job.settings.noiseThresholdDb / 20);
    if (job.settings.pdfReport) job.prototype = std::move(*prototype);
    settleGuard(job);
    return {};
}

} // namespace tesk
