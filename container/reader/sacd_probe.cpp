#include "container/reader/sacd_probe.h"

#include "engine/base/report.h"

#include <algorithm>
#include <vector>

namespace tesk {
namespace {

constexpr unsigned kWindows = 8;
constexpr unsigned kWindowSectors = 16; // three frames begin in it
constexpr std::uint32_t kUsualRate = 2822400;

/// Audio bytes of every sector of a plain stereo area; nothing where no document fixes them.
std::optional<unsigned> fixedAudioBytes(const SacdArea& area)
{
    if (area.channels != 2 || area.dsdRate != kUsualRate) return {};
    if (area.frameFormat == 2) return 2016; // three frames in 14 sectors
    if (area.frameFormat == 3) return 1764; // three frames in 16
    return {};
}

/// Sectors sampled under the assumption of one size of the frame information.
class LayoutTally {
public:
    LayoutTally(unsigned frameInfoBytes, std::optional<unsigned> audioBytes)
        : frameInfoBytes_(frameInfoBytes), audioBytes_(audioBytes)
    {
    }

    void beginWindow() { expected_.reset(); }

    void count(const std::uint8_t* sector)
    {
        const SacdSectorHeader header = readSectorHeader(sector, frameInfoBytes_);
        const bool inOrder = timesInOrder(header);
        if (header.fit == SacdFit::none || !packetsProper(header) || !inOrder) return;
        ++matching_;
        if (header.fit == SacdFit::exact) ++exact_;
    }

    unsigned frameInfoBytes() const { return frameInfoBytes_; }
    int matching() const { return matching_; }
    bool leavesRest() const { return exact_ < matching_; }

    /// With a zero byte at its end a sector may fit two sizes: filled to the last byte is the better proof.
    bool betterThan(const LayoutTally& other) const
    {
        return matching_ != other.matching_ ? matching_ > other.matching_ : exact_ > other.exact_;
    }

private:
    bool packetsProper(const SacdSectorHeader& header) const
    {
        unsigned audio = 0, starts = 0;
        for (unsigned i = 0; i < header.packetCount; ++i) {
            const SacdPacket& packet = header.packets[i];
            if (packet.type != SacdPacket::kAudio && packet.type != SacdPacket::kSupplementary &&
                packet.type != SacdPacket::kPadding)
                return false;
            if (packet.type == SacdPacket::kAudio) audio += packet.length;
            if (packet.startsFrame) ++starts;
        }
        return starts == header.frameCount && (!audioBytes_ || audio == *audioBytes_);
    }

    bool timesInOrder(const SacdSectorHeader& header)
    {
        bool proper = true;
        for (unsigned i = 0; i < header.frameCount; ++i) {
            const auto number = header.frames[i].number();
            if (!number || (expected_ && *number != *expected_)) proper = false;
            expected_.reset();
            if (number) expected_ = *number + 1;
        }
        return proper;
    }

    unsigned frameInfoBytes_;
    std::optional<unsigned> audioBytes_;
    std::optional<std::uint32_t> expected_; // number of the next frame, when the one before is known
    int matching_ = 0, exact_ = 0;
};

/// Calls visit(sector, whether it is the first of a window) for every sampled sector; none comes twice.
template <class Visit>
void sampleSectors(sacd_iso_reader& image, std::uint32_t first, std::uint32_t end, Visit visit)
{
    std::vector<std::uint8_t> window(kWindowSectors * kSacdSectorBytes);
    const std::uint32_t spread = end - first > kWindowSectors ? end - first - kWindowSectors : 0;
    std::uint32_t next = first;
    for (unsigned w = 0; w < kWindows && next < end; ++w) {
        next = std::max(next, static_cast<std::uint32_t>(first + std::uint64_t{spread} * w / (kWindows - 1)));
        const std::uint32_t got = image.readSectors(next, std::min(kWindowSectors, end - next), window.data());
        for (std::uint32_t i = 0; i < got; ++i) visit(window.data() + std::size_t{i} * kSacdSectorBytes, i == 0);
        next += std::max(1u, got);
    }
}

} // namespace

std::optional<unsigned> probeSectorLayout(sacd_iso_reader& image, const SacdArea& area, Reporter& report)
{
    if (area.tracks.empty() || area.tracks[0].startLsn == 0) {
        trace("[iso] probe: no track start lsn -> refuse");
        report.error("sacd_iso_reader: the area lists no track, or does not say where the first one begins; its table "
                     "of contents is damaged, please copy the disc again\n");
        return {};
    }
    if (area.dst) {
        trace("[iso] probe: DST disc -> identity check not applicable, accepting");
        return discFrameInfoBytes(area);
    }
    LayoutTally three(3, fixedAudioBytes(area)), four(4, fixedAudioBytes(area));
    const SacdTrack& track = area.tracks[0];
    const std::uint32_t length = std::max(track.sectors, kWindowSectors);
    const auto trackEnd = static_cast<std::uint32_t>(
        std::min<std::uint64_t>({std::uint64_t{track.startLsn} + length, std::uint64_t{area.lastLsn} + 1,
                                 std::max(image.sectorCount(), track.startLsn)}));
    int sampled = 0;
    sampleSectors(image, track.startLsn, std::max(trackEnd, track.startLsn),
                  [&](const std::uint8_t* sector, bool firstOfWindow) {
                      if (firstOfWindow) {
                          three.beginWindow();
                          four.beginWindow();
                      }
                      // Where no frame begins, both sizes fit alike.
                      if (readSectorHeader(sector, 3).frameCount == 0) return;
                      ++sampled;
                      three.count(sector);
                      four.count(sector);
                  });
    const LayoutTally& best = four.betterThan(three) ? four : three;
    if (2 * best.matching() <= sampled) {
        trace("[iso] probeSectorLayout -> REFUSED");
        report.error("sacd_iso_reader: this disc's sector header does not match any layout we know (%d of %d sampled "
                     "sectors fit); it would play as noise. Please copy the disc again\n",
                     best.matching(), sampled);
        return {};
    }
    report.out("sacd_iso_reader: sector layout probe ok -- %d/%d sampled sectors, frame-info %d byte(s)%s\n",
               best.matching(), sampled, static_cast<int>(best.frameInfoBytes()),
               best.leavesRest() ? ", undeclared bytes behind the packets" : "");
    return best.frameInfoBytes();
}

} // namespace tesk
