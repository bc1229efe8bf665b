#include "container/interleaver.h"

#include <algorithm>

namespace tesk {

void interleave(const std::uint8_t* const* planar, std::uint32_t channels, std::size_t bytes, std::uint8_t* out)
{
    for (std::uint32_t c = 0; c < channels; ++c)
        for (std::size_t i = 0; i < bytes; ++i) out[i * channels + c] = planar[c][i];
}

std::size_t batchBytes(const DsdStreamInfo& info, int batchBlocks)
{
    const std::size_t wanted = static_cast<std::size_t>(std::max(batchBlocks, 1)) * info.channels * info.blockBytes;
    return std::clamp<std::size_t>(wanted, 1, kLargestBatch);
}

InterleavedStream::InterleavedStream(ByteSink& sink, const DsdStreamInfo& info, int batchBlocks)
    : channels_(info.channels), block_(info.channels * info.blockBytes), batch_(sink, batchBytes(info, batchBlocks))
{
}

Status InterleavedStream::append(const std::uint8_t* const* planar, std::size_t bytes, Reporter& report)
{
    interleave(planar, channels_, bytes, block_.data());
    if (!batch_.write({block_.data(), bytes * channels_})) {
        report.warning("batch write failed (-mc): output would be incomplete\n");
        return DSD_ERROR;
    }
    bytesPerChannel_ += bytes;
    return {};
}

Status InterleavedStream::finish(Reporter& report)
{
    if (batch_.flush()) return {};
    report.warning("final batch flush failed (-mc): output is incomplete\n");
    return DSD_ERROR;
}

} // namespace tesk
