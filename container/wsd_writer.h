// WSD: a header of 2048 bytes that holds the tags as well, and interleaved bytes behind it.
#pragma once

#include "container/byte_sink.h"
#include "container/dsd_writer.h"
#include "container/interleaver.h"

#include <memory>

namespace tesk {

class WsdWriter final : public DsdWriter {
public:
    /// `batchBlocks` conversion blocks are written with one call.
    WsdWriter(ByteSink& sink, Reporter& report, int batchBlocks)
        : sink_(sink), report_(report), batchBlocks_(batchBlocks)
    {
    }

    /// The header has the sizes expected and no texts yet. DSD_ERROR for more than 15 channels.
    Status begin(const DsdStreamInfo& info) override;
    Status append(const std::uint8_t* const* packed, std::size_t bytes) override;
    /// Writes the header again, whole. Where the output cannot seek it stays as it is, with a warning.
    Status finish(const MetadataRecord& metadata, Reporter& report) override;
    Status stop() override;
    std::uint64_t bytesWritten() const override { return sound_ ? sound_->position() : sink_.position(); }

private:
    ByteSink& sink_;
    Reporter& report_;
    int batchBlocks_;
    DsdStreamInfo info_;
    std::unique_ptr<InterleavedStream> sound_;
};

} // namespace tesk
