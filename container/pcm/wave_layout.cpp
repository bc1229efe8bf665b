#include "container/pcm/wave_layout.h"

#include "container/pcm/wave_tags.h"
#include "engine/base/byte_writer.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::uint64_t kLargest32 = 0xFFFFFFFF;
constexpr std::uint64_t kLargestData = std::uint64_t{1} << 42; // 4 TiB; readers seek to the end and add to it
constexpr std::uint32_t kDs64Bytes = 28;

std::uint32_t saturated(std::uint64_t value) { return static_cast<std::uint32_t>(std::min(value, kLargest32)); }

std::uint64_t dataBytes(const WaveLayout& d, std::uint64_t frames)
{
    return std::min(frames, kLargestData / d.frameBytes()) * d.frameBytes();
}

std::uint64_t headBytes(const WaveLayout& d)
{
    const bool wide = d.form == WaveForm::wave64;
    const std::uint64_t fact = !d.format.isFloat ? 0 : wide ? 32 : 12;
    const std::uint64_t reserve = d.form == WaveForm::riff || wide ? 0 : 8 + kDs64Bytes;
    return (wide ? 104 : 44) + fact + reserve + (d.tagsInFront ? d.tags.size() : 0);
}

std::uint64_t fileBytes(const WaveLayout& d, std::uint64_t frames)
{
    return headBytes(d) + dataBytes(d, frames) + wavePadding(d, frames) + (d.tagsInFront ? 0 : d.tags.size());
}

/// The 16 bytes that all forms share.
void putFormat(ByteWriter& out, const WaveLayout& d)
{
    const PcmFormat& f = d.format;
    out.u16(f.isFloat ? 3 : 1)
        .u16(static_cast<std::uint16_t>(f.channels))
        .u32(f.sampleRate)
        .u32(saturated(std::uint64_t{f.sampleRate} * d.frameBytes()))
        .u16(static_cast<std::uint16_t>(d.frameBytes()))
        .u16(static_cast<std::uint16_t>(f.bitsPerSample));
}

void putReserve(ByteWriter& out, const WaveLayout& d, std::uint64_t frames, bool large)
{
    if (d.form == WaveForm::riff) return;
    out.tag(large ? "ds64" : "JUNK").u32(kDs64Bytes);
    out.u64(large ? fileBytes(d, frames) - 8 : 0)
        .u64(large ? dataBytes(d, frames) : 0)
        .u64(large ? dataBytes(d, frames) / d.frameBytes() : 0)
        .u32(0); // no other chunk is long
}

std::vector<std::uint8_t> riffHead(const WaveLayout& d, std::uint64_t frames)
{
    const bool large = d.form == WaveForm::rf64 || (d.form == WaveForm::riffOrRf64 && passesRiff(d, frames));
    ByteWriter out(ByteOrder::little);
    out.tag(large ? "RF64" : "RIFF").u32(large ? kLargest32 : saturated(fileBytes(d, frames) - 8)).tag("WAVE");
    putReserve(out, d, frames, large);
    out.tag("fmt ").u32(16);
    putFormat(out, d);
    if (d.format.isFloat) out.tag("fact").u32(4).u32(saturated(frames)); // asked for by every tag but 1
    if (d.tagsInFront) out.raw(d.tags);
    out.tag("data").u32(large ? kLargest32 : saturated(dataBytes(d, frames)));
    return out.take();
}

/// Sizes count the 24 bytes of GUID and size; the first one is the whole file's.
std::vector<std::uint8_t> wave64Head(const WaveLayout& d, std::uint64_t frames)
{
    static constexpr std::uint8_t kRiff[16] = {'r',  'i',  'f',  'f',  0x2E, 0x91, 0xCF, 0x11,
                                               0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
    ByteWriter out(ByteOrder::little);
    out.raw(kRiff).u64(fileBytes(d, frames)).raw(wave64Guid("wave"));
    out.raw(wave64Guid("fmt ")).u64(24 + 16);
    putFormat(out, d);
    if (d.format.isFloat) out.raw(wave64Guid("fact")).u64(24 + 8).u64(dataBytes(d, frames) / d.frameBytes());
    if (d.tagsInFront) out.raw(d.tags);
    out.raw(wave64Guid("data")).u64(24 + dataBytes(d, frames));
    return out.take();
}

} // namespace

std::vector<std::uint8_t> waveHead(const WaveLayout& layout, std::uint64_t frames)
{
    return layout.form == WaveForm::wave64 ? wave64Head(layout, frames) : riffHead(layout, frames);
}

std::uint32_t wavePadding(const WaveLayout& layout, std::uint64_t frames)
{
    return layout.form == WaveForm::wave64 ? 0 : dataBytes(layout, frames) % 2;
}

bool passesRiff(const WaveLayout& layout, std::uint64_t frames) { return fileBytes(layout, frames) > kLargest32; }

} // namespace tesk
