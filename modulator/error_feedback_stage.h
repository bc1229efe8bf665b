// A one-bit stage around an error-feedback loop, whatever its noise transfer function.
#pragma once

#include "modulator/one_bit_stage.h"
#include "pipeline/kernel/error_feedback.h"
#include "pipeline/kernel/kernel_table.h"
#include "pipeline/parallel/worker_pool.h"

#include <vector>

namespace tesk::modulator {

class ErrorFeedbackStage : public OneBitStage {
public:
    p2p::effect::Status prepare(const p2p::effect::EffectFormat& format) override;
    /// One channel on the calling thread, the others on the pool. Every channel starts from the same dither seed,
    /// so equal input gives equal bits. DSD_ERROR, with the samples untouched, for more channels than were prepared.
    p2p::effect::Status process(double** channels, std::size_t frames, unsigned channelCount) override;
    p2p::effect::Status reset() override;

    std::vector<Overload> overloads() const override;
    std::vector<kernel::Sos> noiseTransferFunction() const override { return loop_.sections(); }
    double signalGain() const override { return 1.0 / loop_.settings().quantiserGain; }

protected:
    ErrorFeedbackStage(kernel::ErrorFeedbackLoop loop, const kernel::KernelTable& kernels, parallel::WorkerPool& pool)
        : loop_(std::move(loop)), kernels_(kernels), pool_(pool)
    {
    }

private:
    kernel::ErrorFeedbackLoop loop_;
    const kernel::KernelTable& kernels_;
    parallel::WorkerPool& pool_;
    std::vector<kernel::ErrorFeedbackState> states_;
};

/// For loops that need no guard as long as they are driven as they are meant to be: an error this large never comes
/// back of itself, so everything is cleared, counted as a rescue, and the loop begins anew.
inline constexpr kernel::ErrorFeedbackSettings kRestartingLoop{.quantiserGain = 1.0,
                                                               .clipThreshold = 64.0,
                                                               .errorScale = 0.0,
                                                               .stateDecay = 0.0,
                                                               .ditherAmplitude = 0.0,
                                                               .step = 0.0};

} // namespace tesk::modulator
