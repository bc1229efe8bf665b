// The one-bit modulator of one loop of integrators: each gets its own share of the decision fed back.
#pragma once

#include "modulator/error_feedback_stage.h"

namespace tesk::modulator {

/// a1 … aN of the loop whose noise transfer function is (1 − z⁻¹)^N / D, D the denominator of a Butterworth high-pass
/// with gain 1.4 at half the sample rate: Lee's rule with a margin that keeps orders 4 to 11 stable up to full scale.
///
/// With w = 1 − z⁻¹ the loop's own gain is Σ c_m w^−m, c_m = a_(N−m+1) · … · a_N, so D(w) = w^N + (1 − w)·Σ c_m
/// w^(N−m): one polynomial division gives the c, their ratios the a.
std::vector<double> cifbCoefficients(int order);

/// The same noise transfer function as sections.
std::vector<kernel::Sos> cifbSections(int order);

/// 4 … 11; any other order counts as 4.
int cifbOrder(int order);

} // namespace tesk::modulator

namespace p2p::effect {

/// s1 += (x − y)·a1, s_k += (s_(k−1) − y)·a_k, y = sign(s_N): all noise zeros at DC, and a signal transfer function
/// that is flat over the audio band and falls above it.
class CifbEffect final : public tesk::modulator::ErrorFeedbackStage {
public:
    CifbEffect(int order, const tesk::kernel::KernelTable& kernels, tesk::parallel::WorkerPool& pool);
    const char* name() const override { return "cifb"; }
    std::vector<tesk::kernel::Sos> noiseTransferFunction() const override
    {
        return tesk::modulator::cifbSections(order_);
    }
    /// Of the signal transfer function D(1) / D(z) at DC.
    double delay() const override;
    /// Measured as that of the direct form: orders 10 and 11 were seen to run away at 0 dBFS and not at −0.5.
    double overloadOnsetDbfs() const override { return order_ > 9 ? -0.5 : 0.5; }

private:
    int order_;
};

} // namespace p2p::effect
