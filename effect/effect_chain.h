// An ordered list of stages that it owns.
#pragma once

#include "effect/audio_effect.h"

#include <memory>
#include <vector>

namespace p2p::effect {

/// Runs its stages in list order; the first failure ends the call and is returned, later stages do not see the block.
class EffectChain {
public:
    void append(std::unique_ptr<AudioEffect> stage) { stages_.push_back(std::move(stage)); }
    const std::vector<std::unique_ptr<AudioEffect>>& stages() const { return stages_; }
    const EffectFormat& format() const { return format_; }
    /// Samples of all prepared stages together.
    double delay() const;

    Status prepare(const EffectFormat& format);
    Status process(double** channels, std::size_t frames, unsigned channelCount);
    /// `producedFrames` is what all stages together drained.
    Status flush(double** out, std::size_t* producedFrames);
    Status reset();

private:
    std::vector<std::unique_ptr<AudioEffect>> stages_;
    EffectFormat format_;
};

} // namespace p2p::effect
