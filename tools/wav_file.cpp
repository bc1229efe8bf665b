#include "tools/wav_file.h"

#include "engine/base/byte_writer.h"
#include "platform/files.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdint>

namespace tesk::measure {
namespace {

unsigned bytesPerSample(WavFormat format)
{
    switch (format) {
    case WavFormat::s16: return 2;
    case WavFormat::s24: return 3;
    default: return 8;
    }
}

void putSample(ByteWriter& out, double sample, WavFormat format)
{
    if (format == WavFormat::f64) {
        out.u64(std::bit_cast<std::uint64_t>(sample));
        return;
    }
    const double scale = format == WavFormat::s16 ? 32768.0 : 8388608.0;
    const auto value = static_cast<std::int32_t>(std::clamp(std::round(sample * scale), -scale, scale - 1.0));
    const auto bits = static_cast<std::uint32_t>(value);
    out.u16(static_cast<std::uint16_t>(bits));
    if (format == WavFormat::s24) out.u8(static_cast<std::uint8_t>(bits >> 16));
}

} // namespace

std::optional<WavFormat> wavFormat(std::string_view name)
{
    if (name == "s16") return WavFormat::s16;
    if (name == "s24") return WavFormat::s24;
    if (name == "f64") return WavFormat::f64;
    return {};
}

std::vector<unsigned char> wavImage(const std::vector<std::vector<double>>& channels, unsigned rate, WavFormat format)
{
    const auto count = static_cast<unsigned>(channels.size());
    const std::size_t frames = channels.empty() ? 0 : channels[0].size();
    const unsigned frameBytes = count * bytesPerSample(format);
    const auto dataBytes = static_cast<std::uint32_t>(frames * frameBytes);
    ByteWriter out(ByteOrder::little);
    out.tag("RIFF").u32(36 + dataBytes + dataBytes % 2).tag("WAVE");
    out.tag("fmt ")
        .u32(16)
        .u16(format == WavFormat::f64 ? 3 : 1)
        .u16(static_cast<std::uint16_t>(count))
        .u32(rate)
        .u32(rate * frameBytes)
        .u16(static_cast<std::uint16_t>(frameBytes))
        .u16(static_cast<std::uint16_t>(8 * bytesPerSample(format)));
    out.tag("data").u32(dataBytes);
    for (std::size_t i = 0; i < frames; ++i)
        for (const auto& channel : channels) putSample(out, channel[i], format);
    if (dataBytes % 2) out.u8(0);
    return out.take();
}

std::string writeFile(const std::string& path, const std::vector<unsigned char>& bytes)
{
    const platform::FilePtr file(platform::open_utf8(path.c_str(), "wb"));
    if (!file) return platform::errorText(errno);
    const bool written = bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
    if (!written || std::fflush(file.get()) != 0) return platform::errorText(errno);
    return {};
}

} // namespace tesk::measure
