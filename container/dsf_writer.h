// DSF: blocks of 4096 bytes per channel, channel after channel, and an ID3v2 tag at the end.
#pragma once

#include "container/byte_sink.h"
#include "container/dsd_writer.h"

#include <memory>
#include <vector>

namespace tesk {

/// Cuts the conversion blocks into DSF blocks. Between calls each channel's cache holds 0 … 4095 bytes.
class DsfWriter final : public DsdWriter {
public:
    /// `batchBlocks` DSF block groups are written with one call.
    DsfWriter(ByteSink& sink, Reporter& report, int batchBlocks)
        : sink_(sink), report_(report), batchBlocks_(batchBlocks)
    {
    }

    Status begin(const DsdStreamInfo& info) override;
    Status append(const std::uint8_t* const* packed, std::size_t bytes) override;
    Status finish(const MetadataRecord& metadata, Reporter& report) override;
    Status stop() override;
    std::uint64_t bytesWritten() const override { return batch_ ? batch_->position() : sink_.position(); }

private:
    Status writeBlockGroup();
    Status flushTail(Reporter& report);

    ByteSink& sink_;
    Reporter& report_;
    int batchBlocks_;
    DsdStreamInfo info_;
    std::unique_ptr<BatchSink> batch_;
    std::vector<std::vector<std::uint8_t>> cache_; // per channel: one conversion block and one DSF block
    std::size_t held_ = 0;                         // bytes in each channel's cache
    std::uint64_t blockGroups_ = 0;
};

} // namespace tesk
