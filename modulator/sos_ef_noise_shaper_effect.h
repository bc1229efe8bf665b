// The default one-bit modulator: error feedback through a cascade of second-order sections.
#pragma once

#include "modulator/error_feedback_stage.h"
#include "modulator/ntf_designer.h"

namespace p2p::effect {

/// Order 15 runs the NS15 profile, an odd order 3 … 11 a designed noise transfer function. The loop and its guard
/// are described in pipeline/kernel/error_feedback.h.
class SosEfNoiseShaperEffect final : public tesk::modulator::ErrorFeedbackStage {
public:
    struct Constants {
        double quantiserGain = 1.02;
        double clipThreshold = 3.0;
        double errorScale = 0.75;
        double stateDecay = 0.65;
        double ditherAmplitude = 5.960464477539063e-08; // 2⁻²⁴
    };

    /// Throws std::invalid_argument for an order the designer does not take.
    SosEfNoiseShaperEffect(int order, const Constants& constants, const tesk::kernel::KernelTable& kernels,
                           tesk::parallel::WorkerPool& pool);
    const char* name() const override { return "sos-ef-noise-shaper"; }

    int order() const { return order_; }
    double peakDb() const { return peakDb_; }
    const char* overloadAdvice() const override
    {
        return "convert it again with --headroom auto, or choose --sos-ef 11";
    }
    double overloadOnsetDbfs() const override;

private:
    SosEfNoiseShaperEffect(const tesk::modulator::NoiseTransferFunction& ntf, const Constants& constants,
                           const tesk::kernel::KernelTable& kernels, tesk::parallel::WorkerPool& pool);

    int order_;
    double peakDb_;
};

} // namespace p2p::effect
