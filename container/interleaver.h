// Channels side by side: the order of the samples in DSDIFF, WSD and their pipes.
#pragma once

#include "container/byte_sink.h"
#include "container/dsd_writer.h"

#include <memory>
#include <vector>

namespace tesk {

/// Puts byte i of channel c at out[i × channels + c].
///
/// @param planar  [channels][bytes]
/// @param out     [channels × bytes]
void interleave(const std::uint8_t* const* planar, std::uint32_t channels, std::size_t bytes, std::uint8_t* out);

/// What `batchBlocks` conversion blocks of all channels take, but not more than one call gains from.
std::size_t batchBytes(const DsdStreamInfo& info, int batchBlocks);

/// The sound data of an uncompressed file, gathered into batches. Its failures are DSD_ERROR with a warning.
class InterleavedStream {
public:
    InterleavedStream(ByteSink& sink, const DsdStreamInfo& info, int batchBlocks);

    /// `bytes` per channel, at most DsdStreamInfo::blockBytes.
    Status append(const std::uint8_t* const* planar, std::size_t bytes, Reporter& report);
    /// Hands on the last batch.
    Status finish(Reporter& report);
    /// The same, without a word.
    Status flush() { return batch_.flush(); }

    std::uint64_t bytesPerChannel() const { return bytesPerChannel_; }
    std::uint64_t position() const { return batch_.position(); }

private:
    std::uint32_t channels_;
    std::vector<std::uint8_t> block_;
    BatchSink batch_;
    std::uint64_t bytesPerChannel_ = 0;
};

} // namespace tesk
