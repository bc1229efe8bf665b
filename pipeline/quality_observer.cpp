#include "pipeline/quality_observer.h"

#include "analysis/quality_report.h"
#include "analysis/spectrum.h"
#include "modulator/ntf_designer.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace tesk {
namespace {

constexpr std::uint64_t kMostDecisions = 1 << 21, kFewestDecisions = 1 << 12;
constexpr int kPeakPoints = 4000;

using Facts = std::vector<std::pair<std::string, std::string>>;

/// The largest power of two that the recording has room for.
std::uint64_t segmentOf(const StreamPlan& plan)
{
    return std::min(kMostDecisions, std::bit_floor(plan.totalFrames * plan.factor));
}

/// Everything that was settled and counted, in the order of the way through the engine.
Facts factsOf(const Pcm2pdm& job, const std::vector<kernel::Sos>& sections)
{
    const StreamPlan& plan = job.plan;
    const PcmInfo& info = job.recording.info;
    std::string stages;
    for (const auto& stage : job.chain.stages()) stages += std::string(stage->name()) + "  ";
    Facts facts{{"Input", job.settings.inputs.front()},
                {"Sound", format("%u channels, %u Hz, %s, %.3f s", plan.channels, plan.pcmRate,
                                 info.isFloat ? "float" : format("%d bit", info.bitsPerSample).c_str(),
                                 static_cast<double>(job.recording.signal.frames()) / plan.pcmRate)},
                {"Output", job.settings.outputPath},
                {"One-bit rate", format("%.4f MHz, %u times the input's", plan.dsdRate / 1e6, plan.factor)},
                {"Gain in front", format("%+.2f dB", 20 * std::log10(plan.inputGain))},
                {"Filter", format("%zu taps, %zu per output", job.prototype.size(), job.phases->taps())},
                {"Stages", stages},
                {"Modulator", job.modulator->name()}};
    if (!sections.empty())
        facts.emplace_back("NTF peak", format("%.2f dB", modulator::measureNtfPeak(sections, kPeakPoints)));
    const auto overloads = job.modulator->overloads();
    for (std::size_t c = 0; c < overloads.size(); ++c)
        facts.emplace_back(format("Channel %zu", c + 1),
                           format("%llu rescues, %llu restarts", static_cast<unsigned long long>(overloads[c].clips),
                                  static_cast<unsigned long long>(overloads[c].restarts)));
    return facts;
}

/// Every bin up to half the rate as a sine there would read.
std::vector<analysis::Point> pointsOf(const analysis::Spectrum& spectrum)
{
    std::vector<analysis::Point> points;
    for (std::size_t k = 1; k < spectrum.bins(); ++k)
        points.push_back({static_cast<double>(k) * spectrum.binHz(), spectrum.sineDb(k)});
    return points;
}

} // namespace

QualityObserver::QualityObserver(const Pcm2pdm& job) : job_(job)
{
    const std::uint64_t all = job.plan.totalFrames * job.plan.factor;
    first_ = (all - std::min(all, segmentOf(job.plan))) / 2;
    kept_.reserve(static_cast<std::size_t>(segmentOf(job.plan)));
}

void QualityObserver::see(const double* const* decisions, std::size_t samples, std::uint64_t position)
{
    const std::uint64_t at = position * job_.plan.factor, next = first_ + kept_.size();
    if (at + samples <= next || kept_.size() == segmentOf(job_.plan)) return;
    const std::uint64_t skipped = next > at ? next - at : 0;
    const std::uint64_t count = std::min(samples - skipped, segmentOf(job_.plan) - kept_.size());
    kept_.insert(kept_.end(), decisions[0] + skipped, decisions[0] + skipped + count);
}

void QualityObserver::profileNoise(analysis::QualityReport& report, Reporter& reporter) const
{
    const std::size_t whole = std::bit_floor(kept_.size());
    if (whole < kFewestDecisions) {
        reporter.line("Report", "noiseProfiling: not enough samples (%zu), skipping\n", kept_.size());
        return;
    }
    const analysis::Spectrum spectrum({kept_.data(), whole}, static_cast<double>(job_.plan.dsdRate));
    report.spectrum = pointsOf(spectrum);
    report.octaves = analysis::octaveLevels(spectrum);
    reporter.line("Report", "noiseProfiling: nfft=%zu, DC..%.0f Hz, %zu points\n", whole, spectrum.rate() / 2,
                  spectrum.bins());
}

void QualityObserver::report(Reporter& reporter)
{
    const std::vector<kernel::Sos> sections = job_.modulator->noiseTransferFunction();
    analysis::QualityReport report;
    report.title = "Conversion report";
    report.facts = factsOf(job_, sections);
    report.filter = {job_.prototype, static_cast<double>(job_.plan.pcmRate), static_cast<int>(job_.plan.factor)};
    report.ntf = {sections, static_cast<double>(job_.plan.dsdRate)};
    profileNoise(report, reporter);
    analysis::writeQualityReport(job_.settings.outputPath, report, reporter);
}

} // namespace tesk
