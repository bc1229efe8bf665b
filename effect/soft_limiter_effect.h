// The default limiter: a memoryless curve that keeps the oversampled signal where the modulators are stable.
#pragma once

#include "effect/audio_effect.h"
#include "pipeline/kernel/kernel_table.h"

namespace p2p::effect {

/// Works on the half-scale signal behind the oversampler: |y| ≤ 0.5 (a full-scale sample) passes unchanged. Above,
///     y' = copysign(min(1, (|y| − knee) / (1 − knee)) · (ceiling − knee) + knee, y),   knee 0.5, ceiling −1 dB of it,
/// so that 0.75 becomes 0.4728 and everything from 1.0 on 0.4456. The curve falls above its knee on purpose: an
/// overshoot between the samples comes out quieter than the peak it belongs to, never louder.
class SoftLimiterEffect final : public AudioEffect {
public:
    /// `delta`, the width of a smoother knee, is kept for the settings' sake; the curve does not depend on it.
    SoftLimiterEffect(double delta, const tesk::kernel::KernelTable& kernels) : delta_(delta), kernels_(kernels) {}
    const char* name() const override { return "soft-limiter"; }
    double delta() const { return delta_; }

    Status process(double** channels, std::size_t frames, unsigned channelCount) override;

    /// One sample through the curve.
    static double limit(double y);

private:
    double delta_;
    const tesk::kernel::KernelTable& kernels_;
};

} // namespace p2p::effect
