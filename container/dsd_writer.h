// The interface of everything that lays out a one-bit stream.
#pragma once

#include "engine/base/metadata.h"
#include "engine/base/reporter.h"
#include "engine/base/result.h"

#include <cstddef>
#include <cstdint>

namespace tesk {

/// What a container needs to know of the stream, cut from the job.
struct DsdStreamInfo {
    std::uint32_t channels = 0;
    std::uint32_t sampleRate = 0;    ///< Hz, at the DSD rate
    std::uint64_t inputFrames = 0;   ///< PCM frames, guard included
    std::uint32_t blockFrames = 0;   ///< PCM frames of one conversion block
    std::uint32_t factor = 0;        ///< DSD samples per PCM frame
    std::uint32_t bitsPerSample = 1; ///< as the header says it
    std::size_t blockBytes() const { return static_cast<std::size_t>(blockFrames) * factor / 8; } ///< per channel
};

/// begin → append for every block → finish. After a host stop `stop` takes the place of `finish`.
class DsdWriter {
public:
    virtual ~DsdWriter() = default;

    /// Writes the header with the expected sizes.
    virtual Status begin(const DsdStreamInfo& info) = 0;
    /// One conversion block: planar packed bytes, blockBytes() per channel.
    virtual Status append(const std::uint8_t* const* packed) = 0;
    /// Flushes the tail and the last batch, rewrites the header with the final sizes and appends the tags.
    virtual Status finish(const MetadataRecord& metadata, Reporter& report) = 0;
    /// Hands on the complete blocks that are still held; the header keeps the sizes it expected.
    virtual Status stop() = 0;
    /// Bytes laid out so far.
    virtual std::uint64_t bytesWritten() const = 0;
};

} // namespace tesk
