#include "pipeline/residual.h"

#include <algorithm>
#include <cmath>

namespace tesk {
namespace {

constexpr std::size_t kMostFrames = 4096;
constexpr std::size_t kMostProducts = std::size_t{1} << 25;  // keeps the report within some ten milliseconds
constexpr std::size_t kMostDecisions = std::size_t{1} << 20; // 8 MiB, beside what one response of the filter needs

/// The prototype backwards, put together again from its phases: element k multiplies the k-th oldest decision.
std::vector<double> reversedPrototype(const kernel::PhaseTable& phases)
{
    const std::size_t L = phases.phases();
    std::vector<double> g(L * phases.taps());
    for (std::size_t p = 0; p < L; ++p)
        for (std::size_t t = 0; t < phases.taps(); ++t) g[t * L + (L - p) % L] = phases.phase(p)[t];
    return g;
}

} // namespace

ResidualObserver::ResidualObserver(const Pcm2pdm& job) : job_(job), taps_(job.phases->phases() * job.phases->taps())
{
    const std::uint64_t available = job.recording.signal.frames();
    const std::size_t affordable = std::min<std::size_t>(kMostProducts / taps_, kMostDecisions / job.plan.factor);
    frames_ = std::min<std::uint64_t>({kMostFrames, affordable, available / 2});
    first_ = (available - frames_) / 2;
    firstSample_ = first_ * job.plan.factor + 2; // n·L + N + 1 − (N − 1)
    kept_.resize(frames_ > 0 ? (frames_ - 1) * job.plan.factor + taps_ : 0);
}

void ResidualObserver::see(const double* const* decisions, std::size_t samples, std::uint64_t position)
{
    const std::uint64_t begin = position * job_.plan.factor, end = begin + samples;
    const std::uint64_t next = firstSample_ + filled_;
    if (filled_ == kept_.size() || next < begin || next >= end) return;
    const auto count = std::min<std::uint64_t>(end - next, kept_.size() - filled_);
    std::copy_n(decisions[0] + (next - begin), count, kept_.begin() + static_cast<std::ptrdiff_t>(filled_));
    filled_ += count;
}

void ResidualObserver::report(Reporter& report)
{
    if (kept_.empty() || filled_ < kept_.size()) return;
    const std::vector<double> reversed = reversedPrototype(*job_.phases);
    const double gain = job_.plan.inputGain * 0.5 * job_.modulator->signalGain();
    const double* x = job_.recording.signal.channel(0) + first_;
    double residualPower = 0, signalPower = 0, peak = 0;
    for (std::size_t n = 0; n < frames_; ++n) {
        const double y = job_.kernels.dot_size(reversed.data(), kept_.data() + n * job_.plan.factor, reversed.size());
        const double r = y - gain * x[n];
        residualPower += r * r;
        signalPower += gain * x[n] * gain * x[n];
        peak = std::max(peak, std::fabs(r));
    }
    const double rms = std::sqrt(residualPower / static_cast<double>(frames_));
    const double snr = signalPower > 0 ? 10 * std::log10(signalPower / std::max(residualPower, 1e-300)) : 0.0;
    report.line("Report", "Residual: RMS=%.6f, Peak=%.6f, SNR=%.1f dB, segment=%zu samples @ pos=%zu (delay=%zu)\n",
                rms, peak, snr, frames_, static_cast<std::size_t>(first_), taps_ + 1);
}

} // namespace tesk
