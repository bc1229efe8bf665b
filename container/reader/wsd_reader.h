// WSD: a header of 2048 bytes and interleaved sound. Source: 1-bit Audio Consortium, WSD file format 1.1.
#pragma once

#include "container/reader/interleaved_sound.h"

#include <memory>

namespace tesk {

/// Versions 1.0 and 1.1, 1 to 64 channels. The sound goes from the offset in the header to the end of the file: the
/// header counts neither samples nor reliably bytes.
class WsdReader final : public DsdReader {
public:
    /// Null for what is no WSD file or none that can be played, with a text on `report`.
    static std::unique_ptr<WsdReader> open(std::unique_ptr<ByteSource> file, Reporter& report);

    const DsdSource& source() const override { return source_; }
    std::size_t read(std::uint8_t* const* planar, std::size_t bytes) override { return sound_.read(planar, bytes); }

private:
    WsdReader(std::unique_ptr<ByteSource> file, std::uint64_t offset, const DsdSource& source, Reporter& report)
        : file_(std::move(file)), source_(source), sound_(*file_, offset, source_, report, "WsdReader")
    {
    }

    std::unique_ptr<ByteSource> file_;
    DsdSource source_;
    InterleavedSound sound_;
};

} // namespace tesk
