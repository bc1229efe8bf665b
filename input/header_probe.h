// The headers of WAV, RF64, BW64, Wave64, AIFF and AIFC files: what they declare, and what the file really holds.
// The decoder library tells only the latter, and the memory gate needs the former.
#pragma once

#include "engine/base/byte_writer.h"
#include "input/audio_kind.h"

#include <optional>
#include <string>

namespace tesk {

enum class SampleCoding {
    signedInt,
    unsignedInt,
    floating,
    aLaw,
    muLaw,
    compressed ///< anything whose frames have no fixed length in bytes
};

struct PcmHeader {
    AudioKind kind = AudioKind::unknown; ///< one of the WAV family
    ByteOrder order = ByteOrder::little; ///< of the samples
    SampleCoding coding = SampleCoding::compressed;
    std::uint32_t channels = 0;
    std::uint32_t sampleRate = 0;                ///< Hz
    std::uint32_t sampleBytes = 0;               ///< one sample of one channel as stored; 0 when compressed
    int validBits = 0;                           ///< left-justified in the stored sample
    std::uint64_t dataOffset = 0;                ///< first byte of the first frame
    std::uint64_t storedBytes = 0;               ///< sample data that the file really holds
    std::optional<std::uint64_t> declaredBytes;  ///< nothing: written to a stream, so up to the end of the file
    std::optional<std::uint64_t> declaredFrames; ///< nothing: as above, or only the decoder can tell

    std::uint32_t frameBytes() const { return channels * sampleBytes; }
};

/// Most channels that an input may have. Headers with more are damaged rather than ambitious.
inline constexpr std::uint32_t kMaxChannels = 64;

/// Refuses a channel count or a rate that no recording has; `error` then says which.
bool plausibleFormat(std::uint64_t channels, std::uint64_t sampleRate, std::string& error);

/// Parses the header. Nothing, with `error` set for the user, when the source is none of these files, when the header
/// is damaged or implausible, or when no sample format can be made out.
///
/// Sources: Microsoft and IBM, Multimedia Programming Interface 1.0 (RIFF); EBU Tech 3306 (RF64); ITU-R BS.2088
/// (BW64); Sonic Foundry, Wave64; Apple, Audio Interchange File Format 1.3 and AIFF-C.
std::optional<PcmHeader> probeHeader(ByteSource& source, std::string& error);

} // namespace tesk
