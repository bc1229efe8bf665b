#include "container/dsf_layout.h"

#include "engine/base/byte_writer.h"

#include <cmath>

namespace tesk {

std::uint32_t channelTypeCode(std::uint32_t channels)
{
    switch (channels) {
    case 1: return 1; // C
    case 2: return 2; // L R
    case 3: return 3; // L R C
    case 4: return 4; // L R BL BR
    case 5: return 6; // L R C BL BR
    case 6: return 7; // L R C LFE BL BR
    case 8: return 9;
    default: return 0;
    }
}

std::uint64_t dsfBytesPerChannel(const DsdStreamInfo& info)
{
    return (info.bytes + kDsfBlockBytes - 1) / kDsfBlockBytes * kDsfBlockBytes;
}

std::vector<std::uint8_t> dsfHeader(const DsdStreamInfo& info, std::uint64_t bytesPerChannel)
{
    const std::uint64_t dataBytes = info.channels * bytesPerChannel;
    ByteWriter out(ByteOrder::little);
    out.tag("DSD ")
        .u64(28)
        .u64(dataBytes + kDsfHeaderBytes) // without the tag
        .u64(0);                          // metadata pointer
    out.tag("fmt ")
        .u64(52)
        .u32(1) // format version
        .u32(0) // format ID: raw DSD
        .u32(channelTypeCode(info.channels))
        .u32(info.channels)
        .u32(info.sampleRate)
        .u32(info.bitsPerSample)
        .u64(bytesPerChannel * 8) // samples per channel
        .u32(kDsfBlockBytes)
        .u32(0); // reserved
    out.tag("data").u64(dataBytes + 12);
    return out.take();
}

} // namespace tesk
