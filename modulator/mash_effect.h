// The one-bit modulator of three stages in a row.
#pragma once

#include "modulator/mash_core.h"
#include "modulator/one_bit_stage.h"
#include "pipeline/parallel/worker_pool.h"

#include <vector>

namespace p2p::effect {

/// What the one-bit quantiser behind the core does with its error.
enum class MashErrorFeedback {
    plain, ///< nothing: the bare sign, whose noise is that of a comparator, 10 dB below the music
    fir2,  ///< noise through (1 − z⁻¹)²
    iir2   ///< noise through (1 − z⁻¹)² / (1 − z⁻¹/2): less of it at high frequencies, more in the band
};

/// The core's multi-bit signal, made one bit with error feedback.
///
/// What comes out is a second-order modulator: the one-bit quantiser at the end has to shape its error by itself, and
/// no later stage takes any of it away again. 68 dB at −6 dBFS and DSD64, where theory gives 69; 15 dB more for twice
/// the rate. It is good for signals that are too loud for anything else: sines up to 5 dBFS leave it in order.
class MashEffect final : public tesk::modulator::OneBitStage {
public:
    /// @param topology  421, 222 or 111; any other runs as 421
    MashEffect(int topology, MashErrorFeedback feedback, tesk::parallel::WorkerPool& pool);
    const char* name() const override { return "mash"; }

    Status prepare(const EffectFormat& format) override;
    /// One channel on the calling thread, the others on the pool. Samples that are no finite numbers clear their
    /// channel's state and count as restarts, samples beyond the core's limit as clips.
    Status process(double** channels, std::size_t frames, unsigned channelCount) override;
    Status reset() override;

    std::vector<tesk::modulator::Overload> overloads() const override;
    double signalGain() const override;
    double overloadOnsetDbfs() const override;

    struct Channel {
        tesk::modulator::MashState core;
        double error = 0.0;     ///< of the last decision, in the sign its mode wants it in
        double lastError = 0.0; ///< of the one before
        double shaped = 0.0;    ///< last output of the feedback filter, iir2 only
        std::uint64_t samples = 0;
        tesk::modulator::Overload overload;
    };

private:
    using Loop = void (*)(const tesk::modulator::MashCoefficients&, Channel&, double*, std::size_t);

    tesk::modulator::MashCoefficients coefficients_;
    Loop loop_;
    MashErrorFeedback feedback_;
    tesk::parallel::WorkerPool& pool_;
    std::vector<Channel> channels_;
};

} // namespace p2p::effect
