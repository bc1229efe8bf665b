// DSDIFF without compression: interleaved bytes between a header and the comments.
#pragma once

#include "container/byte_sink.h"
#include "container/dsd_writer.h"
#include "container/interleaver.h"
#include "platform/local_time.h"

#include <memory>

namespace tesk {

/// The clock that dates the comments.
using CommentClock = platform::LocalTime (*)();

/// Replaces the header at the start of the file by one with the final sizes, both of one length. Where the output
/// cannot seek, a warning says that the sizes stay as they were expected. `stream` may be null: a line, and nothing is
/// done.
Status reWriteDFFHeader(ByteSink* stream, Bytes header, Reporter& report);

class DffWriter final : public DsdWriter {
public:
    /// `batchBlocks` conversion blocks are written with one call.
    DffWriter(ByteSink& sink, Reporter& report, int batchBlocks, CommentClock clock = platform::localTime)
        : sink_(sink), report_(report), batchBlocks_(batchBlocks), clock_(clock)
    {
    }

    Status begin(const DsdStreamInfo& info) override;
    Status append(const std::uint8_t* const* packed, std::size_t bytes) override;
    Status finish(const MetadataRecord& metadata, Reporter& report) override;
    Status stop() override;
    std::uint64_t bytesWritten() const override { return sound_ ? sound_->position() : sink_.position(); }

private:
    ByteSink& sink_;
    Reporter& report_;
    int batchBlocks_;
    CommentClock clock_;
    DsdStreamInfo info_;
    std::unique_ptr<InterleavedStream> sound_;
    std::vector<const std::uint8_t*> channels_; // of one call, in the order of the IDs
};

} // namespace tesk
