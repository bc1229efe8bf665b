// Requantises the oversampled signal of a 16-bit source to 16 bits and pushes the error out of the audio band.
#pragma once

#include "effect/audio_effect.h"
#include "pipeline/kernel/error_feedback.h"
#include "pipeline/kernel/kernel_table.h"
#include "pipeline/parallel/worker_pool.h"

#include <vector>

namespace p2p::effect {

/// Error feedback with the noise transfer function ((1 − z⁻¹) / (1 − pole·z⁻¹))^order on a 16-bit grid (step 2⁻¹⁵):
/// at the DSD rate the error below 20 kHz lies far under −150 dBFS.
class Int16NoiseShaperEffect final : public AudioEffect {
public:
    /// order 1 … 16, pole above 0 and below 1.
    Int16NoiseShaperEffect(int order, double pole, const tesk::kernel::KernelTable& kernels,
                           tesk::parallel::WorkerPool& pool);
    const char* name() const override { return "int16-ns"; }
    unsigned capabilities() const override { return capability::requantise; }

    Status prepare(const EffectFormat& format) override;
    Status process(double** channels, std::size_t frames, unsigned channelCount) override;
    Status reset() override;

private:
    tesk::kernel::ErrorFeedbackLoop loop_;
    const tesk::kernel::KernelTable& kernels_;
    tesk::parallel::WorkerPool& pool_;
    std::vector<tesk::kernel::ErrorFeedbackState> states_;
};

} // namespace p2p::effect
