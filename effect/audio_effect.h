// The interface of every stage that works on samples.
#pragma once

#include "engine/base/result.h"

#include <cstddef>
#include <cstdint>

namespace p2p::effect {

using tesk::Status;

/// The stream a stage is prepared for.
struct EffectFormat {
    std::uint32_t sampleRate = 0; ///< Hz; for stages of the block loop the PCM rate that enters the oversampler
    std::uint32_t channels = 0;
    std::uint64_t frames = 0; ///< of the whole stream, 0 when unknown
};

/// Base of the stages' own configuration records, so that one pointer can carry any of them.
struct EffectConfig {
    virtual ~EffectConfig() = default;
};

/// What a stage does to the stream, as a bit set: 1 transforms samples, 2 requantises, 8 changes the sample rate,
/// 16 changes the number of frames.
namespace capability {
inline constexpr unsigned transform = 1;
inline constexpr unsigned requantise = 1 | 2;
inline constexpr unsigned resample = 1 | 8 | 16;
} // namespace capability

/// created → configure → prepare → process any number of blocks → flush → destroyed. `prepare` on a prepared stage
/// starts it anew; `reset` brings it back to created. Errors are statuses; nothing here throws for an expected one.
class AudioEffect {
public:
    virtual ~AudioEffect() = default;

    /// The registry name (stage_registry.h).
    virtual const char* name() const = 0;
    /// One line of usage, from the registry.
    virtual const char* usage() const;
    virtual unsigned capabilities() const { return capability::transform; }
    /// Samples by which low tones leave the prepared stage late.
    virtual double delay() const { return 0.0; }

    /// Null succeeds and changes nothing; a record of another stage's type gives DSD_ERROR and changes nothing.
    /// A stage without a record of its own ignores the argument.
    virtual Status configure(const EffectConfig* config);
    virtual Status prepare(const EffectFormat& format);
    /// In place on channelCount × frames planar samples. Allocates nothing. Not before `prepare`.
    virtual Status process(double** channels, std::size_t frames, unsigned channelCount) = 0;
    /// Drains what the stage still holds at the end of the stream; no stage holds anything.
    virtual Status flush(double** out, std::size_t* producedFrames);
    virtual Status reset();

    const EffectFormat& format() const { return format_; }

private:
    EffectFormat format_;
};

} // namespace p2p::effect
