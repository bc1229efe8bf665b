#include "container/dsdiff_layout.h"

#include "container/dsf_layout.h"
#include "container/dst/dst_format.h"
#include "engine/base/byte_writer.h"
#include "engine/base/reporter.h"

#include <algorithm>
#include <string_view>

namespace tesk {
namespace {

constexpr std::uint32_t kMostChannelIds = 64;

struct Compression {
    std::string_view id, name;
};
constexpr Compression kPlain{"DSD ", "not compressed"}, kDst{"DST ", "DST Encoded"};

/// Out of line: inlined, GCC 12 warns of an overflow that cannot be.
[[gnu::noinline]] ByteWriter& chunk(ByteWriter& out, std::string_view id, std::uint64_t bytes)
{
    return out.tag(id).u64(bytes);
}

/// The form up to the contents of the sound chunk, which is named like its compression.
ByteWriter upToSound(const DsdStreamInfo& info, const Compression& compression, std::uint64_t soundBytes)
{
    const std::uint32_t typeCode = channelTypeCode(info.channels);
    const std::vector<std::string> ids = channelIds(typeCode, info);
    const std::uint64_t idBytes = 4 * ids.size(), nameBytes = compression.name.size(), namePad = (5 + nameBytes) % 2;
    // The property type; FS, CHNL, CMPR and LSCO with their heads.
    const std::uint64_t propertyBytes = 4 + 16 + 14 + idBytes + 17 + nameBytes + namePad + 14;
    // The form type; FVER, PROP and the sound with their heads.
    const std::uint64_t formBytes = 4 + 16 + 12 + propertyBytes + 12 + soundBytes + soundBytes % 2;

    ByteWriter out(ByteOrder::big);
    chunk(out, "FRM8", formBytes).tag("DSD ");
    chunk(out, "FVER", 4).u32(0x01050000); // 1.5.0.0
    chunk(out, "PROP", propertyBytes).tag("SND ");
    chunk(out, "FS  ", 4).u32(info.sampleRate); // Hz
    chunk(out, "CHNL", 2 + idBytes).u16(static_cast<std::uint16_t>(info.channels));
    for (const std::string& id : ids) out.tag(id);
    chunk(out, "CMPR", 5 + nameBytes).tag(compression.id);
    out.u8(static_cast<std::uint8_t>(nameBytes)).tag(compression.name);
    if (namePad) out.u8(0);
    chunk(out, "LSCO", 2).u16(loudspeakerConfiguration(typeCode));
    chunk(out, compression.id, soundBytes);
    return out;
}

} // namespace

std::vector<std::string> channelIds(std::uint32_t typeCode, const DsdStreamInfo& info)
{
    const char* left = info.surroundSides ? "LS  " : "LB  ";
    const char* right = info.surroundSides ? "RS  " : "RB  ";
    switch (typeCode) {
    case 2: return {"SLFT", "SRGT"};
    case 3: return {"MLFT", "MRGT", "C   "};
    case 4: return {"MLFT", "MRGT", left, right};
    case 5: return {"MLFT", "MRGT", "C   ", "LFE "};
    case 6: return {"MLFT", "MRGT", "C   ", left, right};
    case 7:
        if (!info.lfe || !info.centre) return {};
        return {"MLFT", "MRGT", "C   ", "LFE ", left, right};
    case 9: return {"MLFT", "MRGT", "C   ", "LFE ", "LS  ", "RS  ", "LB  ", "RB  "};
    default: break;
    }
    std::vector<std::string> ids;
    for (std::uint32_t c = 0; c < std::min(info.channels, kMostChannelIds); ++c) ids.push_back(format("C%03d", c));
    return ids;
}

std::uint16_t loudspeakerConfiguration(std::uint32_t typeCode)
{
    switch (typeCode) {
    case 2: return 0;
    case 6: return 3;
    case 5:
    case 7: return 4;
    default: return 65535;
    }
}

std::vector<std::uint8_t> dsdiffHeader(const DsdStreamInfo& info, std::uint64_t bytesPerChannel)
{
    return upToSound(info, kPlain, info.channels * bytesPerChannel).take();
}

std::vector<std::uint8_t> dsdiffDstHeader(const DsdStreamInfo& info, std::uint32_t frames, std::uint64_t frameBytes)
{
    ByteWriter out = upToSound(info, kDst, kDsdiffChunkHead + 6 + frameBytes);
    return chunk(out, "FRTE", 6).u32(frames).u16(kDstFramesPerSecond).take();
}

std::vector<std::uint8_t> dstFrameChunk(std::span<const std::uint8_t> coded)
{
    ByteWriter out(ByteOrder::big);
    chunk(out, "DSTF", coded.size()).raw(coded);
    if (coded.size() % 2 != 0) out.u8(0);
    return out.take();
}

} // namespace tesk
