// Sound from a disc image: one area of it, or one track of the area.
#pragma once

#include "container/reader/dsd_reader.h"
#include "container/reader/dst_playback.h"
#include "container/reader/sacd_frames.h"
#include "container/reader/sacd_iso_reader.h"
#include "container/reader/sacd_toc.h"

#include <memory>
#include <string>

namespace tesk {

struct SacdOptions {
    SacdAreaChoice area = SacdAreaChoice::automatic; ///< stereo when the disc has it
    DstSimdLevel dstLevel = kDstScalar;
};

/// Frames that are missing from a plain area are replaced by silence (0x69), so that times keep; in a DST-coded area
/// they are left out. Sectors are read in runs of up to 256 KiB.
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

    const DsdSource& source() const override { return source_; }
    std::size_t read(std::uint8_t* const* planar, std::size_t bytes) override;

    /// What was wrong since the last selectTrack() with coded frames, since the opening with sectors.
    void reportProblems(const char* name) override;

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
    bool start();
    bool nextFrame();
    void nextPlainFrame();
    void countLeftOut();

    sacd_iso_reader image_;
    SacdOptions options_;
    Reporter& report_;
    SacdMaster master_;
    SacdArea area_;
    std::uint32_t availableEnd_ = ~0u; // frame behind the last one that a truncated image holds
    bool truncated_ = false;

    DsdSource source_;
    std::unique_ptr<SacdFrames> frames_;
    std::unique_ptr<DstPlayback> playback_; // DST-coded areas only
    SacdSelection selection_;
    std::uint32_t delivered_ = 0; // frames

    std::span<const std::uint8_t> frame_; // the one in hand, interleaved
    std::size_t at_ = 0;                  // its next byte
    CodedFrame plain_;                    // read, and perhaps not due yet
    std::uint32_t plainNumber_ = 0;
    bool havePlain_ = false, plainEnded_ = false;
    std::vector<std::uint8_t> silence_; // a frame
    std::uint64_t silentFrames_ = 0, leftOutFrames_ = 0;
};

} // namespace tesk
