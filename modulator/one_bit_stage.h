// What all one-bit modulators have in common beyond being a stage: they can be driven too hard, and know it.
#pragma once

#include "effect/audio_effect.h"
#include "pipeline/kernel/error_feedback.h"

#include <cstdint>
#include <vector>

namespace tesk::modulator {

/// How often a channel's loop had to be rescued. Positions count samples at the DSD rate.
struct Overload {
    std::uint64_t clips = 0;
    std::uint64_t firstClip = 0;
    std::uint64_t restarts = 0;
};

/// A stage that replaces every sample by +1.0 or −1.0.
class OneBitStage : public p2p::effect::AudioEffect {
public:
    unsigned capabilities() const override { return p2p::effect::capability::requantise; }
    /// One entry per channel, for the stream so far.
    virtual std::vector<Overload> overloads() const = 0;
    /// What shapes the noise, as sections; none where that cannot be said so.
    virtual std::vector<kernel::Sos> noiseTransferFunction() const { return {}; }
    /// Level of a low tone in the decisions over its level at the stage's input.
    virtual double signalGain() const = 0;
    /// What to do about overload, as the end of a sentence.
    virtual const char* overloadAdvice() const { return "convert it again with --headroom auto"; }
    /// The level in dBFS up to which steady sines never needed a rescue; above 0 for a modulator that takes full
    /// scale.
    virtual double overloadOnsetDbfs() const = 0;
};

} // namespace tesk::modulator
