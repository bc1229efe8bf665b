#include "modulator/int16_noise_shaper_effect.h"

#include "pipeline/parallel/parallel_for.h"

namespace p2p::effect {
namespace {

using tesk::kernel::Sos;

/// ((1 − z⁻¹) / (1 − pole·z⁻¹))^order, two factors a section.
std::vector<Sos> differentiators(int order, double pole)
{
    std::vector<Sos> sections(static_cast<std::size_t>(order / 2), Sos{1, -2, 1, -2 * pole, pole * pole});
    if (order % 2 != 0) sections.push_back({1, -1, 0, -pole, 0});
    return sections;
}

} // namespace

Int16NoiseShaperEffect::Int16NoiseShaperEffect(int order, double pole, const tesk::kernel::KernelTable& kernels,
                                               tesk::parallel::WorkerPool& pool)
    : loop_(differentiators(order, pole), {1.0, 0.0, 1.0, 1.0, 0.0, 0x1p-15}), kernels_(kernels), pool_(pool)
{
}

Status Int16NoiseShaperEffect::prepare(const EffectFormat& format)
{
    states_.assign(format.channels, {});
    return AudioEffect::prepare(format);
}

Status Int16NoiseShaperEffect::process(double** channels, std::size_t frames, unsigned channelCount)
{
    if (channelCount > states_.size()) return DSD_ERROR;
    tesk::parallel::parallel_for(
        0, channelCount, [&](std::size_t c) { kernels_.uniform(loop_, states_[c], channels[c], frames); }, pool_);
    return {};
}

Status Int16NoiseShaperEffect::reset()
{
    states_.clear();
    return AudioEffect::reset();
}

} // namespace p2p::effect
