// Frames of 1/75 s put together from the packets of the audio sectors.
#pragma once

#include "container/reader/dst_playback.h"
#include "container/reader/sacd_sector.h"

#include <optional>
#include <vector>

namespace tesk {

/// Frames [firstFrame, endFrame) of an area, which stand in the sectors [firstLsn, endLsn).
struct SacdSelection {
    std::uint32_t firstFrame = 0, endFrame = 0;
    std::uint32_t firstLsn = 0, endLsn = 0;
};

struct SacdFaults {
    std::uint64_t incompleteFrames = 0; ///< of the selections
    std::uint64_t badSectors = 0;       ///< whose packets do not fit
};

/// Numbers frames by their time codes. One damaged code neither stops nor shifts the others: a step that the distance
/// on the disc does not allow counts as one, until two codes in a row agree.
class SacdFrameNumbers {
public:
    explicit SacdFrameNumbers(const SacdArea& area) : frameBytes_(area.frameBytes()), dst_(area.dst) {}

    /// Frame `first` is expected to begin in the sector `lsn`.
    void restart(std::uint32_t first, std::uint32_t lsn);
    std::int64_t number(const SacdFrameInfo* info, std::uint32_t lsn);

private:
    bool credible(std::int64_t code, std::uint32_t lsn) const;

    std::uint32_t frameBytes_;
    bool dst_;
    bool first_ = true;
    std::int64_t last_ = -1, lastCode_ = -2;
    std::uint32_t lastLsn_ = 0;
};

/// Reads the selected sectors from front to back, in runs.
class SacdFrames {
public:
    SacdFrames(sacd_iso_reader& image, const SacdArea& area, Reporter& report);

    /// 3 or 4, as the probe found.
    void setFrameInfoBytes(unsigned bytes) { frameInfoBytes_ = bytes; }

    void select(const SacdSelection& selection);

    /// The next complete frame that belongs to the selection. False at the end.
    /// @param frame   receives the stored bytes and the sector of its start; its memory is used again
    /// @param number  receives its number in the area, as far as the time codes are sound; they may skip and repeat
    bool next(CodedFrame& frame, std::uint32_t& number);

    /// Whether the last selection ended because sectors could not be read.
    bool mediumFailed() const { return mediumFailed_; }

    const SacdFaults& faults() const { return faults_; }

private:
    bool nextSector();
    bool fillRun();
    SacdSectorHeader interpret(const std::uint8_t* sector);
    void begin(std::uint32_t lsn);
    void append(const SacdPacket& packet);
    bool complete() const;
    bool endsWithoutCount();
    void drop();
    bool take(CodedFrame& frame, std::uint32_t& number);
    bool selected() const { return number_ >= selection_.firstFrame && number_ < selection_.endFrame; }

    sacd_iso_reader& image_;
    SacdArea area_; // without its tracks
    Reporter& report_;
    unsigned frameInfoBytes_;
    std::size_t longestFrame_;
    SacdFrameNumbers numbers_;
    SacdSelection selection_;

    std::vector<std::uint8_t> run_;             // sectors
    std::uint32_t runLsn_ = 0, runSectors_ = 0; // what it holds
    std::uint32_t lsn_ = 0;                     // of the sector in hand
    const std::uint8_t* sector_ = nullptr;      // in `run_`
    SacdSectorHeader header_;
    unsigned packet_ = 0, frameInfo_ = 0; // the next ones of the header

    bool open_ = false; // a frame has begun and is not complete
    std::vector<std::uint8_t> bytes_;
    std::int64_t number_ = 0;
    std::uint32_t startLsn_ = 0;
    unsigned parts_ = 0, announcedParts_ = 0;

    bool mediumFailed_ = false, oddToldOnce_ = false, restToldOnce_ = false;
    SacdFaults faults_;
};

} // namespace tesk
