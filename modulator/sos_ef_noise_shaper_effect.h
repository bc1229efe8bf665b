// The default one-bit modulator: error feedback through a cascade of second-order sections.
#pragma once

#include "modulator/one_bit_stage.h"
#include "pipeline/kernel/error_feedback.h"
#include "pipeline/kernel/kernel_table.h"
#include "pipeline/parallel/worker_pool.h"

#include <vector>

namespace p2p::effect {

/// Order 15 runs the NS15 profile, an odd order 3 … 11 a designed noise transfer function. The loop and its guard
/// are described in pipeline/kernel/error_feedback.h.
class SosEfNoiseShaperEffect final : public tesk::modulator::OneBitStage {
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

    Status prepare(const EffectFormat& format) override;
    /// One channel on the calling thread, the others on the pool. Every channel starts from the same dither seed,
    /// so equal input gives equal bits.
    Status process(double** channels, std::size_t frames, unsigned channelCount) override;
    Status reset() override;

    int order() const { return order_; }
    double peakDb() const { return peakDb_; }
    std::vector<tesk::modulator::Overload> overloads() const override;
    double signalGain() const override { return 1.0 / loop_.settings().quantiserGain; }
    double overloadOnsetDbfs() const override;

private:
    int order_;
    double peakDb_;
    tesk::kernel::ErrorFeedbackLoop loop_;
    const tesk::kernel::KernelTable& kernels_;
    tesk::parallel::WorkerPool& pool_;
    std::vector<tesk::kernel::ErrorFeedbackState> states_;
};

} // namespace p2p::effect
