// Plays a selection of frames of a disc's area, whatever is damaged.
#pragma once

#include "container/reader/dsd_reader.h"
#include "container/reader/dst_playback.h"
#include "container/reader/sacd_frames.h"

#include <memory>

namespace tesk {

/// Frames that are missing from a plain area are replaced by silence (0x69), so that times keep; in a DST-coded area
/// they are left out. Counts what was wrong, for this selection alone.
class SacdSound final : public DsdReader {
public:
    /// @param image, report    outlive the object
    /// @param frameInfoBytes   3 or 4, as the probe found
    /// Null when the coded form of the area cannot be decoded; never for a plain one.
    static std::unique_ptr<SacdSound> begin(sacd_iso_reader& image, const SacdArea& area, unsigned frameInfoBytes,
                                            const SacdSelection& selection, DstSimdLevel dstLevel, Reporter& report);

    const DsdSource& source() const override { return source_; }
    std::size_t read(std::uint8_t* const* planar, std::size_t bytes) override;
    void reportProblems(const char* name) override;

private:
    SacdSound(sacd_iso_reader& image, const SacdArea& area, const SacdSelection& selection, Reporter& report);

    bool nextFrame();
    void nextPlainFrame();
    void countLeftOut();

    Reporter& report_;
    DsdSource source_;
    SacdFrames frames_;
    SacdSelection selection_;
    std::unique_ptr<DstPlayback> playback_; // DST-coded areas only
    std::uint32_t delivered_ = 0;           // frames

    std::span<const std::uint8_t> frame_; // the one in hand, interleaved
    std::size_t at_ = 0;                  // its next byte
    CodedFrame plain_;                    // read, and perhaps not due yet
    std::uint32_t plainNumber_ = 0;
    bool havePlain_ = false, plainEnded_ = false;
    std::vector<std::uint8_t> silence_; // a frame
    std::uint64_t silentFrames_ = 0, leftOutFrames_ = 0;
};

/// How an area is delivered; `samples` are those of `frames`.
DsdSource sacdSource(const SacdArea& area, std::uint32_t frames);

} // namespace tesk
