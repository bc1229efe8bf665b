// Sound from a disc image: one area of it, or one track of the area.
#pragma once

#include "container/reader/sacd_area_choice.h"
#include "container/reader/sacd_iso_reader.h"
#include "container/reader/sacd_sound.h"
#include "container/reader/sacd_toc.h"

#include <memory>
#include <string>

namespace tesk {

struct SacdOptions {
    SacdAreaChoice area = SacdAreaChoice::automatic; ///< stereo when the disc has it
    DstSimdLevel dstLevel = kDstScalar;
};

/// Sectors are read in runs of up to 256 KiB. What becomes of damage: see SacdSound.
class SACDReader final : public DsdReader {
public:
    /// Reads the tables of contents, chooses the area, and proves the sector layout on its first track. The whole
    /// area from the first track's start to the last one's end is then selected.
    /// Prints why when it gives null.
    /// @param report  outlives the reader
    static std::unique_ptr<SACDReader> open(std::unique_ptr<ByteSource> image, const SacdOptions& options,
                                            Reporter& report);

    /// Disc, area and track texts, times, ISRC.
    const SacdDisc& disc() const { return master_.disc; }
    const SacdArea& area() const { return area_; }

    /// Starts anew at a track of the area, 1 … count; 0 is the whole area. False when there is no such track. A track
    /// that lies beyond the end of a truncated image is selected with a warning, and has no samples.
    bool selectTrack(unsigned number);

    /// Up to `frames` frames that stand right before, or right behind, a track of the whole area; null where the area's
    /// sound begins or ends with the track. Independent of what is selected, and it keeps its counts and warnings to
    /// itself: they belong to the neighbouring track.
    std::unique_ptr<DsdReader> before(unsigned track, std::uint32_t frames);
    std::unique_ptr<DsdReader> behind(unsigned track, std::uint32_t frames);

    const DsdSource& source() const override { return sound_->source(); }
    std::size_t read(std::uint8_t* const* planar, std::size_t bytes) override { return sound_->read(planar, bytes); }
    /// What was wrong since the last selectTrack().
    void reportProblems(const char* name) override { sound_->reportProblems(name); }

private:
    SACDReader(std::unique_ptr<ByteSource> image, const SacdOptions& options, Reporter& report)
        : image_(std::move(image)), options_(options), report_(report)
    {
    }

    bool readContents();
    bool chooseArea();
    bool firstTrackIsThere();
    void clampToImage();
    std::uint32_t endOfLastWholeFrame();
    SacdSelection promised(unsigned number) const;
    std::unique_ptr<DsdReader> neighbour(const SacdSelection& selection);

    sacd_iso_reader image_;
    SacdOptions options_;
    Reporter& report_;
    CollectingReporter unheard_; // of neighbours
    SacdMaster master_;
    SacdArea area_;
    unsigned frameInfoBytes_ = 0;
    std::uint32_t availableEnd_ = ~0u; // frame behind the last one that a truncated image holds
    bool truncated_ = false;
    std::unique_ptr<SacdSound> sound_; // of the selection
};

} // namespace tesk
