#include "effect/effect_chain.h"

namespace p2p::effect {

double EffectChain::delay() const
{
    double samples = 0;
    for (const auto& stage : stages_) samples += stage->delay();
    return samples;
}

Status EffectChain::prepare(const EffectFormat& format)
{
    format_ = format;
    for (auto& stage : stages_)
        if (Status status = stage->prepare(format); !status) return status;
    return {};
}

Status EffectChain::process(double** channels, std::size_t frames, unsigned channelCount)
{
    for (auto& stage : stages_)
        if (Status status = stage->process(channels, frames, channelCount); !status) return status;
    return {};
}

Status EffectChain::flush(double** out, std::size_t* producedFrames)
{
    *producedFrames = 0;
    for (auto& stage : stages_) {
        std::size_t produced = 0;
        if (Status status = stage->flush(out, &produced); !status) return status;
        *producedFrames += produced;
    }
    return {};
}

Status EffectChain::reset()
{
    format_ = {};
    for (auto& stage : stages_)
        if (Status status = stage->reset(); !status) return status;
    return {};
}

} // namespace p2p::effect
