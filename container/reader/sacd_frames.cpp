#include "container/reader/sacd_frames.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::uint32_t kRunSectors = 128; // 256 KiB

} // namespace

void SacdFrameNumbers::restart(std::uint32_t first, std::uint32_t lsn)
{
    first_ = true;
    last_ = std::int64_t{first} - 1;
    lastCode_ = -2;
    lastLsn_ = lsn;
}

std::int64_t SacdFrameNumbers::number(const SacdFrameInfo* info, std::uint32_t lsn)
{
    const auto shown = info ? info->number() : std::nullopt;
    const std::int64_t code = shown ? *shown : -1;
    const bool agreesWithLast = code >= 0 && code == lastCode_ + 1;
    last_ = agreesWithLast || credible(code, lsn) ? code : last_ + 1;
    lastCode_ = shown ? code : -2;
    lastLsn_ = lsn;
    first_ = false;
    return last_;
}

bool SacdFrameNumbers::credible(std::int64_t code, std::uint32_t lsn) const
{
    const std::int64_t step = code - last_, sectors = std::int64_t{lsn} - lastLsn_ + 1;
    // Reading may begin in front of the selection.
    if (code < 0 || (step <= 0 && !first_)) return false;
    constexpr std::int64_t kMostStartsInSector = 7;
    return dst_ ? step <= kMostStartsInSector * sectors : step * frameBytes_ <= sectors * kSacdSectorBytes;
}

SacdFrames::SacdFrames(sacd_iso_reader& image, const SacdArea& area, Reporter& report)
    : image_(image), area_(area), report_(report), frameInfoBytes_(discFrameInfoBytes(area)),
      // Coders store a frame that they cannot shorten, one byte longer than it is. Twice the size bounds the memory.
      longestFrame_(std::size_t{area.frameBytes()} * (area.dst ? 2 : 1)), numbers_(area),
      run_(std::size_t{kRunSectors} * kSacdSectorBytes)
{
    area_.tracks.clear();
    bytes_.reserve(longestFrame_ + kSacdSectorBytes);
}

void SacdFrames::select(const SacdSelection& selection)
{
    selection_ = selection;
    numbers_.restart(selection.firstFrame, selection.firstLsn);
    runLsn_ = selection.firstLsn;
    runSectors_ = 0;
    lsn_ = selection.firstLsn - 1; // the next one is the first
    header_ = {};
    packet_ = 0;
    open_ = mediumFailed_ = false;
}

bool SacdFrames::next(CodedFrame& frame, std::uint32_t& number)
{
    while (packet_ < header_.packetCount || nextSector()) {
        if (packet_ == header_.packetCount) continue;
        const SacdPacket& packet = header_.packets[packet_];
        const bool starts = packet.type == SacdPacket::kAudio && packet.startsFrame;
        // The packet that ends a frame without a count is looked at again for the one that it begins.
        if (starts && endsWithoutCount() && take(frame, number)) return true;
        ++packet_;
        if (packet.type != SacdPacket::kAudio) continue;
        if (starts) begin(lsn_);
        if (open_) append(packet);
        if (complete() && take(frame, number)) return true;
    }
    return endsWithoutCount() && take(frame, number);
}

/// Makes the next sector with sound packets the one in hand. False at the end of the selection.
bool SacdFrames::nextSector()
{
    ++lsn_;
    packet_ = header_.packetCount = 0;
    if (lsn_ >= selection_.endLsn || mediumFailed_) {
        lsn_ = selection_.endLsn;
        return false;
    }
    if (lsn_ - runLsn_ >= runSectors_ && !fillRun()) return false;
    sector_ = run_.data() + std::size_t{lsn_ - runLsn_} * kSacdSectorBytes;
    header_ = interpret(sector_);
    frameInfo_ = 0;
    if (header_.end <= kSacdSectorBytes) return true;
    ++faults_.badSectors;
    header_.packetCount = 0;
    drop();
    return true;
}

bool SacdFrames::fillRun()
{
    runLsn_ = lsn_;
    runSectors_ = image_.readSectors(lsn_, std::min(kRunSectors, selection_.endLsn - lsn_), run_.data());
    if (runSectors_ > 0) return true;
    mediumFailed_ = true;
    report_.alert("SACDReader: sector %u of the disc image cannot be read; the sound ends there\n", lsn_);
    return false;
}

/// Reads the header by the layout that fits: the one that the probe found, else the other, else that of real discs.
SacdSectorHeader SacdFrames::interpret(const std::uint8_t* sector)
{
    SacdSectorHeader header = readSectorHeader(sector, frameInfoBytes_);
    if (header.fit == SacdFit::none && header.frameCount > 0) header = readSectorHeader(sector, 7 - frameInfoBytes_);
    if (header.fit == SacdFit::none) {
        header = readSectorHeader(sector, discFrameInfoBytes(area_));
        if (!std::exchange(oddToldOnce_, true))
            report_.warning("sacd_iso_reader: the header of sector %u matches no layout that we know; it is read like "
                            "that of real discs (reported once)\n",
                            lsn_);
    }
    // The area's last sector may be part empty, and one without packets is empty as a whole. Coded areas end anywhere.
    const bool rest = header.end < kSacdSectorBytes && header.packetCount > 0 && lsn_ < area_.lastLsn && !area_.dst;
    if (rest && !std::exchange(restToldOnce_, true))
        report_.warning("sacd_iso_reader: sector %u has bytes behind its packets; only what the header declares is "
                        "read (reported once)\n",
                        lsn_);
    return header;
}

void SacdFrames::begin(std::uint32_t lsn)
{
    drop();
    const SacdFrameInfo* info = frameInfo_ < header_.frameCount ? &header_.frames[frameInfo_++] : nullptr;
    number_ = numbers_.number(info, lsn);
    announcedParts_ = info ? info->sectors : 0;
    startLsn_ = lsn;
    parts_ = 0;
    bytes_.clear();
    open_ = true;
}

void SacdFrames::append(const SacdPacket& packet)
{
    bytes_.insert(bytes_.end(), sector_ + packet.offset, sector_ + packet.offset + packet.length);
    ++parts_;
    if (bytes_.size() > longestFrame_) drop(); // the start of the next one is lost
}

bool SacdFrames::complete() const
{
    if (!open_) return false;
    return area_.dst ? announcedParts_ > 0 && parts_ == announcedParts_ : bytes_.size() == area_.frameBytes();
}

/// Whether the open frame is one that lasts until the next start.
bool SacdFrames::endsWithoutCount()
{
    if (open_ && area_.dst && announcedParts_ == 0 && !bytes_.empty()) return true;
    drop();
    return false;
}

void SacdFrames::drop()
{
    if (open_ && selected()) ++faults_.incompleteFrames;
    open_ = false;
}

/// Hands the open frame out when it belongs to the selection.
bool SacdFrames::take(CodedFrame& frame, std::uint32_t& number)
{
    open_ = false;
    if (!selected()) return false;
    frame.bytes.reserve(bytes_.capacity()); // so that no later frame needs more
    frame.bytes.assign(bytes_.begin(), bytes_.end());
    frame.place = startLsn_;
    number = static_cast<std::uint32_t>(number_);
    return true;
}

} // namespace tesk
