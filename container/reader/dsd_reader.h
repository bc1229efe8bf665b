// One-bit sound as it comes out of a file or a disc, whatever the container.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tesk {

/// What a source holds, as far as its container tells and its length confirms.
struct DsdSource {
    enum class Kind : int { file = 2, disc = 3 };

    Kind kind = Kind::file;
    std::uint32_t channels = 0;
    std::uint32_t dsdRate = 0;        ///< Hz
    std::uint32_t blockBytes = 0;     ///< per channel; what one step of a conversion takes
    std::uint64_t samples = 0;        ///< one-bit samples per channel, at most those that are really there
    bool firstSampleInLowBit = false; ///< of every byte
    bool dst = false;                 ///< the frames are DST-coded

    /// "64x": multiples of 44.1 kHz, or of 48 kHz when the rate belongs to that family.
    std::uint32_t multiple() const { return dsdRate / (dsdRate % 44100 != 0 && dsdRate % 48000 == 0 ? 48000 : 44100); }
};

/// Sequential reading. One thread at a time.
class DsdReader {
public:
    virtual ~DsdReader() = default;

    virtual const DsdSource& source() const = 0;

    /// Fills planar[c][0 .. returned) for every channel with the next bytes; `bytes` may be any number. Fewer than
    /// asked for only at the end of the sound, where the samples behind `source().samples` in the last byte are
    /// meaningless; then 0. A medium that fails ends the sound early, with a warning on the report given at opening.
    virtual std::size_t read(std::uint8_t* const* planar, std::size_t bytes) = 0;

    /// Prints what went wrong with the source as a whole, when anything did; for the end of a job.
    /// @param name  of the source, as the user gave it
    virtual void reportProblems(const char* name) { (void)name; }
};

} // namespace tesk
