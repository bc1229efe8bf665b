#include "pipeline/residual.h"

#include <algorithm>
#include <cmath>

namespace tesk {
namespace {

constexpr std::size_t kMostFrames = 4096;
constexpr std::size_t kMostProducts = std::size_t{1} << 25;  // keeps the report within some ten milliseconds
constexpr std::size_t kMostDecisions = std::size_t{1} << 20; // 8 MiB, beside what one response of the filter needs

/// The response of the oversampler, put together again from its phases.
std::vector<double> response(const kernel::PhaseTable& phases)
{
    const std::size_t L = phases.phases();
    std::vector<double> h(L * phases.taps());
    for (std::size_t p = 0; p < L; ++p)
        for (std::size_t t = 0; t < phases.taps(); ++t) h[h.size() - 1 - t * L - (L - p) % L] = phases.phase(p)[t];
    return h;
}

constexpr std::size_t kMargin = 3; // elements that the interpolation adds: one in front, two behind

/// h(k − f) for k = −1 … N + 1, 0 ≤ f < 1, by Lagrange's cubic; h lies a factor L below its sample rate, so that the
/// error is some 10⁻⁶ of it.
std::vector<double> shifted(const std::vector<double>& h, double f)
{
    const double weights[] = {-f * (f - 1) * (f - 2) / 6, (f + 1) * (f - 1) * (f - 2) / 2, -(f + 1) * f * (f - 2) / 2,
                              (f + 1) * f * (f - 1) / 6};
    std::vector<double> moved(h.size() + kMargin);
    for (std::size_t k = 0; k < h.size(); ++k)
        for (std::size_t j = 0; j <= kMargin; ++j) moved[k + j] += weights[j] * h[k];
    return moved;
}

} // namespace

ResidualObserver::ResidualObserver(const Pcm2pdm& job)
    : job_(job), stageDelay_(job.chain.delay()), taps_(job.phases->phases() * job.phases->taps()),
      span_(taps_ + kMargin)
{
    const std::uint64_t available = job.recording.signal.frames();
    const std::size_t affordable = std::min<std::size_t>(kMostProducts / taps_, kMostDecisions / job.plan.factor);
    frames_ = std::min<std::uint64_t>({kMostFrames, affordable, available / 2});
    first_ = (available - frames_) / 2;
    const auto whole = static_cast<std::uint64_t>(stageDelay_);
    firstSample_ = first_ * job.plan.factor + whole; // of k = −1
    kept_.resize(frames_ > 0 ? (frames_ - 1) * job.plan.factor + span_ : 0);
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
    const std::vector<double> matched = shifted(response(*job_.phases), stageDelay_ - std::trunc(stageDelay_));
    const double gain = job_.plan.inputGain * 0.5 * job_.modulator->signalGain();
    const double* x = job_.recording.signal.channel(0) + first_;
    double residualPower = 0, signalPower = 0, peak = 0;
    for (std::size_t n = 0; n < frames_; ++n) {
        const double y = job_.kernels.dot_size(matched.data(), kept_.data() + n * job_.plan.factor, matched.size());
        const double r = y - gain * x[n];
        residualPower += r * r;
        signalPower += gain * x[n] * gain * x[n];
        peak = std::max(peak, std::fabs(r));
    }
    const double rms = std::sqrt(residualPower / static_cast<double>(frames_));
    const double snr = signalPower > 0 ? 10 * std::log10(signalPower / std::max(residualPower, 1e-300)) : 0.0;
    report.line("Report", "Residual: RMS=%.6f, Peak=%.6f, SNR=%.1f dB, segment=%zu samples @ pos=%zu (delay=%zu)\n",
                rms, peak, snr, frames_, static_cast<std::size_t>(first_),
                taps_ + 1 + static_cast<std::size_t>(std::llround(stageDelay_)));
}

} // namespace tesk
