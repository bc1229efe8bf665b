#include "input/header_probe.h"

#include "engine/base/reporter.h"
#include "input/header_parsers.h"

#include <algorithm>
#include <limits>

namespace tesk {
namespace {

bool supportedWidth(const PcmHeader& header)
{
    switch (header.coding) {
    case SampleCoding::signedInt: return header.sampleBytes >= 1 && header.sampleBytes <= 4;
    case SampleCoding::unsignedInt:
    case SampleCoding::aLaw:
    case SampleCoding::muLaw: return header.sampleBytes == 1;
    case SampleCoding::floating: return header.sampleBytes == 4 || header.sampleBytes == 8;
    case SampleCoding::compressed: return true;
    }
    return false;
}

/// What lies between the header and the end of the file, or the end of the data chunk if that comes first.
std::uint64_t storedBytes(const PcmHeader& header, std::uint64_t fileBytes)
{
    const std::uint64_t rest = header.dataOffset < fileBytes ? fileBytes - header.dataOffset : 0;
    return std::min(rest, header.declaredBytes.value_or(rest));
}

} // namespace

bool plausibleFormat(std::uint64_t channels, std::uint64_t sampleRate, std::string& error)
{
    if (channels < 1 || channels > kMaxChannels) {
        error = format("the header declares %llu channels; 1 to %u can be read",
                       static_cast<unsigned long long>(channels), kMaxChannels);
        return false;
    }
    if (sampleRate < 1 || sampleRate > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max())) {
        error = format("the header declares a sampling rate of %llu Hz", static_cast<unsigned long long>(sampleRate));
        return false;
    }
    return true;
}

std::optional<PcmHeader> probeHeader(ByteSource& source, std::string& error)
{
    const AudioKind kind = audioKind(source);
    if (!isWaveFamily(kind)) {
        error = "neither WAV, Wave64 nor AIFF";
        return {};
    }
    const bool aiff = kind == AudioKind::aiff || kind == AudioKind::aifc;
    auto header = aiff ? parseAiffHeader(source, kind, error) : parseWaveHeader(source, kind, error);
    if (!header) return {};
    if (!supportedWidth(*header)) {
        error = format("samples of %d bits in %u bytes cannot be read", header->validBits, header->sampleBytes);
        return {};
    }
    header->storedBytes = storedBytes(*header, source.size());
    if (header->coding != SampleCoding::compressed && !header->declaredFrames && header->declaredBytes)
        header->declaredFrames = *header->declaredBytes / header->frameBytes();
    return header;
}

} // namespace tesk
