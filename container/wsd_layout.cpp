#include "container/wsd_layout.h"

#include "engine/base/byte_writer.h"
#include "engine/base/utf8.h"

#include <algorithm>
#include <optional>
#include <string>

namespace tesk {
namespace {

constexpr std::uint32_t kTextOffset = 0x80;
constexpr std::uint8_t kVersion = 0x11; // 1.1

constexpr std::uint32_t kFrontLeft = 1U << 30, kCentre = 1U << 28, kFrontRight = 1U << 26, kLfe = 1U << 24,
                        kBackLeft = 1U << 6, kBackRight = 1U << 2, kNoAssignment = 1U;

std::uint8_t bcd(std::uint64_t value) { return static_cast<std::uint8_t>(value / 10 % 10 << 4 | value % 10); }

/// Frames, seconds, minutes, hours; whole seconds, and what is longer than the field stays at its end.
void playbackTime(ByteWriter& out, const DsdStreamInfo& info, std::uint64_t bytesPerChannel)
{
    constexpr std::uint64_t longest = 100 * 3600 - 1;
    const std::uint64_t seconds = std::min(bytesPerChannel * 8 / std::max(info.sampleRate, 1U), longest);
    out.u8(0).u8(bcd(seconds % 60)).u8(bcd(seconds / 60 % 60)).u8(bcd(seconds / 3600));
}

void reserved(ByteWriter& out, std::size_t bytes)
{
    for (std::size_t i = 0; i < bytes; ++i) out.u8(0);
}

void information(ByteWriter& out, const DsdStreamInfo& info, std::uint64_t bytesPerChannel)
{
    const std::uint64_t fileBytes = kWsdHeaderBytes + info.channels * bytesPerChannel;
    out.tag("1bit").u32(0);
    out.u8(kVersion);
    reserved(out, 3);
    out.u32(static_cast<std::uint32_t>(fileBytes)) // low word first
        .u32(static_cast<std::uint32_t>(fileBytes >> 32))
        .u32(kTextOffset)
        .u32(static_cast<std::uint32_t>(kWsdHeaderBytes)) // offset of the sound
        .u32(0);
    playbackTime(out, info, bytesPerChannel);
    out.u32(info.sampleRate).u32(0); // Hz
    out.u8(static_cast<std::uint8_t>(info.channels));
    reserved(out, 3);
    out.u32(wsdChannelAssignment(info.channels));
    reserved(out, 12 + 4);
    out.u32(0); // emphasis: none
    reserved(out, 56);
}

void text(ByteWriter& out, std::size_t width, const std::optional<std::string>& value = {})
{
    const std::string whole = value.value_or("");
    std::string field(withoutBrokenEnd(std::string_view(whole).substr(0, width)));
    field.resize(width, ' ');
    out.tag(field);
}

} // namespace

std::uint32_t wsdChannelAssignment(std::uint32_t channels)
{
    switch (channels) {
    case 1: return kCentre;
    case 2: return kFrontLeft | kFrontRight;
    case 3: return kFrontLeft | kFrontRight | kCentre;
    case 4: return kFrontLeft | kFrontRight | kBackLeft | kBackRight;
    case 5: return kFrontLeft | kFrontRight | kCentre | kBackLeft | kBackRight;
    case 6: return kFrontLeft | kFrontRight | kCentre | kLfe | kBackLeft | kBackRight;
    default: return kNoAssignment;
    }
}

std::vector<std::uint8_t> wsdHeader(const DsdStreamInfo& info, std::uint64_t bytesPerChannel,
                                    const MetadataRecord& metadata)
{
    ByteWriter out(ByteOrder::big);
    information(out, info, bytesPerChannel);
    text(out, 128, metadata.title);
    text(out, 128); // composer
    text(out, 128); // song writer
    text(out, 128, metadata.artist);
    text(out, 128, metadata.album);
    text(out, 32, metadata.genre);
    text(out, 32, metadata.date);
    text(out, 32); // location
    text(out, 512, metadata.comment);
    text(out, 512); // user
    reserved(out, kWsdHeaderBytes - out.size());
    return out.take();
}

} // namespace tesk
