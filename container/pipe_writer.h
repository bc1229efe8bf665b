// The bare DSD bytes for a pipe: no header, no padding, no tag.
#pragma once

#include "container/byte_sink.h"
#include "container/dsd_writer.h"

namespace tesk {

/// Block after block, channel after channel within a block.
class PipeWriter final : public DsdWriter {
public:
    explicit PipeWriter(ByteSink& sink) : sink_(sink) {}

    Status begin(const DsdStreamInfo& info) override
    {
        info_ = info;
        return {};
    }
    Status append(const std::uint8_t* const* packed, std::size_t bytes) override;
    Status finish(const MetadataRecord&, Reporter&) override { return sink_.flush(); }
    Status stop() override { return sink_.flush(); }
    std::uint64_t bytesWritten() const override { return sink_.position(); }

private:
    ByteSink& sink_;
    DsdStreamInfo info_;
};

} // namespace tesk
