// The one-bit modulator with a noise transfer function in direct form: zeros in the audio band, real poles.
#pragma once

#include "modulator/error_feedback_stage.h"
#include "modulator/unified_noise_shaper.h"

namespace tesk::modulator {

/// (order − 1) / 2 zeros: the first of those given, and behind them those of the Legendre polynomial of that order,
/// which leave the least noise in an evenly weighted band. Source: R. Schreier, IEEE Trans. CAS II, August 1993.
std::vector<double> zerosForOrder(int order, const std::vector<double>& given);

inline constexpr const char* kDirectFormAdvice =
    "take a pole nearer to 1 or a lower order, or convert it again with --headroom auto";

/// The level up to which a design of so many sections holds, dBFS. Measured with sines of 20 Hz to 15 kHz and noise, 56
/// million samples each, at DSD64, 128 and 256 and the default poles: orders 7 and 9 were seen to run away at 0 dBFS
/// and not at −0.5.
inline double directFormOnset(std::size_t sections) { return sections > 3 ? -0.5 : 0.5; }

} // namespace tesk::modulator

namespace p2p::effect {

/// Orders 3, 5, 7 and 9. In direct form, with cA = D − N, cB = −D and the decision's own u:
///
///     u = x + Σ cA[k]·h[n−k],   y = sign(u),   h[n] = (u − y) + Σ cB[k]·h[n−k],   k = 1 … K
///
/// which is y = x − (N/D)·(u − y). The same is computed in sections: in direct form K equal poles q magnify the history
/// by (1 − q)^−K, and doubles would lose that many digits.
class DirectFormStage : public tesk::modulator::ErrorFeedbackStage {
public:
    DirectFormStage(const tesk::modulator::UnifiedNoiseShaper& design, const tesk::kernel::KernelTable& kernels,
                    tesk::parallel::WorkerPool& pool)
        : ErrorFeedbackStage({design.sections(), tesk::modulator::kRestartingLoop}, kernels, pool)
    {
    }
    const char* overloadAdvice() const override { return tesk::modulator::kDirectFormAdvice; }
    double overloadOnsetDbfs() const override
    {
        return tesk::modulator::directFormOnset(noiseTransferFunction().size());
    }
};

/// All poles at one place, spread, or placed with the zeros.
class NoiseShaperEffect final : public DirectFormStage {
public:
    using DirectFormStage::DirectFormStage;
    const char* name() const override { return "noise-shaper"; }
};

/// Poles that the user gives one by one.
class CifbNoiseShaperEffect final : public DirectFormStage {
public:
    using DirectFormStage::DirectFormStage;
    const char* name() const override { return "cifb-noise-shaper"; }
};

} // namespace p2p::effect
