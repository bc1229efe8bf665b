#include "effect/lookahead_limiter_effect.h"

#include <algorithm>
#include <cmath>

namespace p2p::effect {
namespace {

/// One-pole smoothing coefficient of a time constant in milliseconds.
double smoothing(double ms, double sampleRate)
{
    return ms > 0 && sampleRate > 0 ? 1.0 - std::exp(-1.0 / (ms * sampleRate / 1000.0)) : 1.0;
}

} // namespace

Status LookAheadLimiterEffect::prepare(const EffectFormat& format)
{
    const double length = std::trunc(lookaheadMs_ * format.sampleRate / 1000.0 + 0.5);
    line_.assign(static_cast<std::size_t>(std::max(length, 1.0)), 0.0);
    candidates_.assign(line_.size() + 1, {0.0, 0});
    position_ = head_ = count_ = 0;
    time_ = 0;
    ceiling_ = std::pow(10.0, thresholdDb_ / 20.0);
    if (!(ceiling_ > 0)) ceiling_ = 0.01;
    attackCoef_ = smoothing(attackMs_, format.sampleRate);
    releaseCoef_ = smoothing(releaseMs_, format.sampleRate);
    gain_ = 1.0;
    return AudioEffect::prepare(format);
}

Status LookAheadLimiterEffect::process(double** channels, std::size_t frames, unsigned channelCount)
{
    for (unsigned c = 0; c < channelCount; ++c) {
        if (!channels[c]) continue;
        for (std::size_t i = 0; i < frames; ++i) channels[c][i] = step(channels[c][i]);
    }
    return {};
}

Status LookAheadLimiterEffect::reset()
{
    line_.clear();
    candidates_.clear();
    return AudioEffect::reset();
}

double LookAheadLimiterEffect::slidingPeak(double magnitude)
{
    const std::size_t size = candidates_.size();
    while (count_ > 0 && candidates_[(head_ + count_ - 1) % size].magnitude <= magnitude) --count_;
    candidates_[(head_ + count_++) % size] = {magnitude, time_};
    if (candidates_[head_].at + line_.size() <= time_) {
        head_ = (head_ + 1) % size;
        --count_;
    }
    ++time_;
    return candidates_[head_].magnitude;
}

double LookAheadLimiterEffect::step(double x)
{
    line_[position_] = x;
    position_ = position_ + 1 == line_.size() ? 0 : position_ + 1;
    const double delayed = line_[position_]; // the oldest entry once x is in
    const double peak = slidingPeak(std::fabs(x));
    const double target = peak > ceiling_ ? ceiling_ / peak : 1.0;
    gain_ += (target - gain_) * (gain_ > target ? attackCoef_ : releaseCoef_);
    return gain_ * delayed;
}

} // namespace p2p::effect
