// Plain sound in which the channels take turns byte by byte, as DSDIFF and WSD hold it.
#pragma once

#include "container/reader/dsd_reader.h"
#include "engine/base/reporter.h"
#include "input/byte_source.h"

#include <vector>

namespace tesk {

/// planar[c][at + i] = interleaved[i · channels + c] for i < frames.
void deinterleave(const std::uint8_t* interleaved, std::uint32_t channels, std::size_t frames,
                  std::uint8_t* const* planar, std::size_t at);

/// Reads a range of a file from front to back. Memory: 64 KiB.
class InterleavedSound {
public:
    /// @param offset  of the first byte
    /// @param source  channels, rate and samples of the range; the file holds them all
    /// @param reader  name for the warning of a medium that fails; lives as long as this
    InterleavedSound(ByteSource& file, std::uint64_t offset, const DsdSource& source, Reporter& report,
                     const char* reader);

    /// As DsdReader::read.
    std::size_t read(std::uint8_t* const* planar, std::size_t bytes);

private:
    void refill();

    ByteSource& file_;
    Reporter& report_;
    const char* reader_;
    std::uint32_t channels_, dsdRate_;
    std::uint64_t offset_;              // of the next byte of the file
    std::uint64_t left_;                // frames of one byte per channel, those in the buffer not counted
    std::vector<std::uint8_t> buffer_;  // whole frames
    std::size_t filled_ = 0, next_ = 0; // frames
};

} // namespace tesk
