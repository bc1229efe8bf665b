#include "container/dsf_writer.h"

#include "container/dsf_layout.h"
#include "container/id3_tag.h"

#include <algorithm>

namespace tesk {
namespace {

} // namespace

Status DsfWriter::begin(const DsdStreamInfo& info)
{
    info_ = info;
    cache_.assign(info.channels, std::vector<std::uint8_t>(info.blockBytes + kDsfBlockBytes, kDsdSilence));
    const std::size_t wanted = static_cast<std::size_t>(batchBlocks_) * info.channels * kDsfBlockBytes;
    batch_ = std::make_unique<BatchSink>(sink_, std::min(wanted, kLargestBatch));
    return sink_.write(dsfHeader(info, dsfBytesPerChannel(info)));
}

Status DsfWriter::append(const std::uint8_t* const* packed, std::size_t bytes)
{
    for (std::uint32_t c = 0; c < info_.channels; ++c)
        std::copy_n(packed[c], bytes, cache_[c].begin() + static_cast<std::ptrdiff_t>(held_));
    held_ += bytes;
    while (held_ >= kDsfBlockBytes) {
        if (!writeBlockGroup()) {
            report_.warning("batch write failed (-mc, DSF): output would be incomplete\n");
            return DSD_ERROR;
        }
        for (auto& channel : cache_)
            std::copy(channel.begin() + kDsfBlockBytes, channel.begin() + static_cast<std::ptrdiff_t>(held_),
                      channel.begin());
        held_ -= kDsfBlockBytes;
    }
    return {};
}

Status DsfWriter::writeBlockGroup()
{
    for (const auto& channel : cache_)
        if (Status status = batch_->write({channel.data(), kDsfBlockBytes}); !status) return status;
    ++blockGroups_;
    return {};
}

Status DsfWriter::flushTail(Reporter& report)
{
    if (held_ == 0) return {};
    for (auto& channel : cache_)
        std::fill(channel.begin() + static_cast<std::ptrdiff_t>(held_), channel.begin() + kDsfBlockBytes, kDsdSilence);
    if (Status status = writeBlockGroup(); !status) {
        report.warning("tail batch flush failed (-mc): output is incomplete\n");
        return DSD_ERROR;
    }
    report.line("Report", "DSF tail flushed: %zu residual byte(s) padded to block with 0x69 (DSD silence)\n", held_);
    held_ = 0;
    return {};
}

Status DsfWriter::finish(const MetadataRecord& metadata, Reporter& report)
{
    if (Status status = flushTail(report); !status) return status;
    if (Status status = batch_->flush(); !status) {
        report.warning("final batch flush failed (-mc): output is incomplete\n");
        return DSD_ERROR;
    }
    // The sizes are known beforehand, so this changes nothing but after a miscount; and a pipe cannot seek.
    const std::uint64_t bytes = blockGroups_ * kDsfBlockBytes;
    if (bytes != dsfBytesPerChannel(info_))
        if (Status status = sink_.rewrite(0, dsfHeader(info_, bytes)); !status) return status;
    std::uint64_t position = 0;
    if (Status status = writeId3TagDSF(sink_, metadata, report, position); !status) return status;
    return sink_.flush();
}

Status DsfWriter::stop() { return batch_ ? batch_->flush() : Status{}; }

} // namespace tesk
