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
    std::uint64_t bytes = 0;         ///< expected per channel, without a container's own padding
    std::size_t blockBytes = 0;      ///< of one conversion block per channel: the most that one call appends
    std::uint32_t bitsPerSample = 1; ///< as the header says it
    // What the channels beyond stereo are, where a container names them.
    bool lfe = true, centre = true; ///< of 5.1
    bool surroundSides = true;      ///< the surround pair stands at the sides, not behind
};

/// begin → append for every block → finish. After a host stop `stop` takes the place of `finish`.
class DsdWriter {
public:
    virtual ~DsdWriter() = default;

    /// Writes the header with the expected sizes.
    virtual Status begin(const DsdStreamInfo& info) = 0;
    /// The next piece of the stream: planar packed bytes, `bytes` per channel, at most DsdStreamInfo::blockBytes.
    virtual Status append(const std::uint8_t* const* packed, std::size_t bytes) = 0;
    /// Flushes the tail and the last batch, rewrites the header with the final sizes and appends the tags.
    virtual Status finish(const MetadataRecord& metadata, Reporter& report) = 0;
    /// Hands on the complete blocks that are still held; the header keeps the sizes it expected.
    virtual Status stop() = 0;
    /// Bytes laid out so far.
    virtual std::uint64_t bytesWritten() const = 0;
};

} // namespace tesk
