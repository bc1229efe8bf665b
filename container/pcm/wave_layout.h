// The head of RIFF, RF64 and Wave64 files: what stands in front of the samples.
#pragma once

#include "container/pcm/pcm_writer.h"

#include <cstdint>
#include <vector>

namespace tesk {

inline constexpr std::uint64_t kUnknownFrames = UINT64_MAX; ///< sizes as large as the container can say

/// How the head tells sizes. `riffOrRf64` has 28 bytes in reserve, a "JUNK" chunk that becomes "ds64" when the file
/// has passed 4 GiB.
enum class WaveForm { riff, riffOrRf64, rf64, wave64 };

struct WaveLayout {
    PcmFormat format;
    WaveForm form = WaveForm::riff;
    std::vector<std::uint8_t> tags; ///< whole chunks, padded as the container asks
    bool tagsInFront = false;       ///< of the samples: always in Wave64, and where sizes cannot be mended

    std::uint32_t frameBytes() const { return format.channels * format.bitsPerSample / 8; }
};

/// Everything in front of the samples; as long for any number of frames. Plain RIFF says 0xFFFFFFFF where a size does
/// not fit, which readers take as "to the end of the file".
/// Sources: IBM and Microsoft, Multimedia Programming Interface 1.0 (RIFF), EBU Tech 3306 (RF64), Sony Wave64.
std::vector<std::uint8_t> waveHead(const WaveLayout& layout, std::uint64_t frames);

/// Zeros behind the samples of RIFF: to an even number of bytes. Wave64 gets none although its chunks start at
/// multiples of eight: here nothing follows the samples, and libsndfile would take the zeros for some.
std::uint32_t wavePadding(const WaveLayout& layout, std::uint64_t frames);

/// Whether the finished file is too long for the sizes of RIFF, all chunks counted.
bool passesRiff(const WaveLayout& layout, std::uint64_t frames);

} // namespace tesk
