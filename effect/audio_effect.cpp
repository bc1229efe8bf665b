#include "effect/audio_effect.h"

#include "effect/stage_registry.h"

namespace p2p::effect {

const char* AudioEffect::usage() const
{
    const StageEntry* entry = findStage(name());
    return entry ? entry->usage : "";
}

Status AudioEffect::configure(const EffectConfig*) { return {}; }

Status AudioEffect::prepare(const EffectFormat& format)
{
    format_ = format;
    return {};
}

Status AudioEffect::flush(double**, std::size_t* producedFrames)
{
    *producedFrames = 0;
    return {};
}

Status AudioEffect::reset()
{
    format_ = {};
    return {};
}

} // namespace p2p::effect
