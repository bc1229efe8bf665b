// The bare DSD bytes for a pipe: no header, no padding, no tag.
#pragma once

#include "container/byte_sink.h"
#include "container/dsd_writer.h"

#include <vector>

namespace tesk {

/// Whose order the bytes of a block have: channel after channel (dsf), or one byte of each channel in turn (dff, wsd).
enum class PipeForm { dsf, dff, wsd };

/// Block after block, each flushed by the sink.
class PipeWriter final : public DsdWriter {
public:
    explicit PipeWriter(ByteSink& sink) : sink_(sink) {}
    PipeWriter(ByteSink& sink, PipeForm form, Reporter& report) : sink_(sink), form_(form), report_(&report) {}

    Status begin(const DsdStreamInfo& info) override;
    Status append(const std::uint8_t* const* packed, std::size_t bytes) override;
    Status finish(const MetadataRecord&, Reporter&) override { return sink_.flush(); }
    Status stop() override { return sink_.flush(); }
    std::uint64_t bytesWritten() const override { return sink_.position(); }

private:
    ByteSink& sink_;
    PipeForm form_ = PipeForm::dsf;
    Reporter* report_ = nullptr;
    DsdStreamInfo info_;
    std::vector<std::uint8_t> block_; // interleaved
};

} // namespace tesk
