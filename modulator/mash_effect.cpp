#include "modulator/mash_effect.h"

#include "pipeline/parallel/parallel_for.h"

#include <cmath>

namespace p2p::effect {
namespace {

using tesk::modulator::MashCoefficients;
using Channel = MashEffect::Channel;

constexpr double kOutputGain = 1.0; // less lowers the level and leaves the noise where it is

/// The core's sample v after the error feedback: what the sign is taken of.
template <MashErrorFeedback kFeedback>
double shape(Channel& s, double v)
{
    if constexpr (kFeedback == MashErrorFeedback::plain) return v;
    if constexpr (kFeedback == MashErrorFeedback::fir2) return v + 2.0 * s.error - 1.0 * s.lastError;
    s.shaped = 1.5 * s.error - 1.0 * s.lastError + 0.5 * s.shaped;
    return v - s.shaped;
}

/// Decides u and remembers the error that makes. The core returns no negative zero, and so shape returns none: the sign
/// bit tells.
template <MashErrorFeedback kFeedback>
double decide(Channel& s, double u)
{
    const double y = std::copysign(1.0, u);
    s.lastError = s.error;
    s.error = kFeedback == MashErrorFeedback::iir2 ? y - u : u - y;
    return y;
}

void restart(Channel& s)
{
    s.core.clear();
    s.error = s.lastError = s.shaped = 0.0;
    ++s.overload.restarts;
}

void noteClip(Channel& s, double x, std::size_t i)
{
    if (!(std::fabs(x) > tesk::modulator::kMashInputLimit && std::isfinite(x))) [[likely]]
        return;
    if (s.overload.clips++ == 0) s.overload.firstClip = s.samples + i;
}

/// Decides one sample, v being the core's output for it. False after a restart.
template <MashErrorFeedback kFeedback>
bool requantise(Channel& s, double v, double& x)
{
    const double u = shape<kFeedback>(s, v * kOutputGain);
    if (std::isfinite(u)) [[likely]] {
        x = decide<kFeedback>(s, u);
        return true;
    }
    restart(s);
    x = 1.0;
    return false;
}

template <int kIntegrators, MashErrorFeedback kFeedback>
void runLoop(const MashCoefficients& shared, Channel& channel, double* x, std::size_t frames)
{
    const MashCoefficients c = shared; // copies of its own stay in registers while x is written to
    Channel s = channel;
    std::size_t i = 0;
    while (i < frames) {
        if (!s.core.settled()) { // four samples at the start and after a restart
            noteClip(s, x[i], i);
            requantise<kFeedback>(s, tesk::modulator::mashStep<kIntegrators>(c, s.core, x[i]), x[i]);
            ++i;
            continue;
        }
        for (bool going = true; going && i < frames; ++i) {
            noteClip(s, x[i], i);
            going = requantise<kFeedback>(s, tesk::modulator::mashPlainStep<kIntegrators>(c, s.core, x[i]), x[i]);
        }
    }
    s.samples += frames;
    channel = s;
}

template <int kIntegrators>
auto loopFor(MashErrorFeedback feedback)
{
    switch (feedback) {
    case MashErrorFeedback::plain: return runLoop<kIntegrators, MashErrorFeedback::plain>;
    case MashErrorFeedback::iir2: return runLoop<kIntegrators, MashErrorFeedback::iir2>;
    default: return runLoop<kIntegrators, MashErrorFeedback::fir2>;
    }
}

} // namespace

MashEffect::MashEffect(int topology, MashErrorFeedback feedback, tesk::parallel::WorkerPool& pool)
    : coefficients_(tesk::modulator::mashCoefficients(topology)),
      loop_(coefficients_.integrators == 1 ? loopFor<1>(feedback) : loopFor<2>(feedback)), feedback_(feedback),
      pool_(pool)
{
}

Status MashEffect::prepare(const EffectFormat& format)
{
    channels_.assign(format.channels, {});
    return AudioEffect::prepare(format);
}

Status MashEffect::process(double** channels, std::size_t frames, unsigned channelCount)
{
    if (channelCount > channels_.size()) return DSD_ERROR;
    tesk::parallel::parallel_for(
        0, channelCount, [&](std::size_t c) { loop_(coefficients_, channels_[c], channels[c], frames); }, pool_);
    return {};
}

Status MashEffect::reset()
{
    channels_.clear();
    return AudioEffect::reset();
}

std::vector<tesk::modulator::Overload> MashEffect::overloads() const
{
    std::vector<tesk::modulator::Overload> result;
    for (const Channel& channel : channels_) result.push_back(channel.overload);
    return result;
}

double MashEffect::signalGain() const
{
    // Sines of 100 Hz to 15 kHz from −6 to 5 dBFS at DSD64: within 0.02 dB of 1. Without error feedback the sign
    // flattens the core's steps, and the gain depends on the level; these are its values at 0 dBFS.
    if (feedback_ != MashErrorFeedback::plain) return 1.0;
    if (coefficients_.integrators == 1) return 2.52;
    return coefficients_.step1 == 0.5 ? 1.57 : 2.49;
}

double MashEffect::overloadOnsetDbfs() const
{
    // Sines of 100 Hz, 1 kHz and 15 kHz, 2^20 samples at DSD64, 0 dBFS being an amplitude of 0.5: up to 5 dBFS the SNR
    // is within 4 dB of that at 0 dBFS or better, at 5.5 dBFS it is 10 dB worse at 15 kHz, from 5.6 dBFS on the core
    // clamps its input.
    return 5.0;
}

} // namespace p2p::effect
