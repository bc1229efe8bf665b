#include "modulator/error_feedback_stage.h"

#include "pipeline/parallel/parallel_for.h"

namespace tesk::modulator {

using p2p::effect::EffectFormat;
using p2p::effect::Status;

Status ErrorFeedbackStage::prepare(const EffectFormat& format)
{
    states_.assign(format.channels, {});
    return AudioEffect::prepare(format);
}

Status ErrorFeedbackStage::process(double** channels, std::size_t frames, unsigned channelCount)
{
    if (channelCount > states_.size()) return DSD_ERROR;
    parallel::parallel_for(
        0, channelCount, [&](std::size_t c) { kernels_.oneBit(loop_, states_[c], channels[c], frames); }, pool_);
    return {};
}

Status ErrorFeedbackStage::reset()
{
    states_.clear();
    return AudioEffect::reset();
}

std::vector<Overload> ErrorFeedbackStage::overloads() const
{
    std::vector<Overload> result;
    for (const auto& state : states_) result.push_back({state.clips, state.firstClip, state.restarts});
    return result;
}

} // namespace tesk::modulator
