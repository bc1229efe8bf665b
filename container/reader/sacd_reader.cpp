#include "container/reader/sacd_reader.h"

#include "container/reader/sacd_probe.h"
#include "engine/base/report.h"

#include <algorithm>
#include <utility>

namespace tesk {
namespace {

constexpr std::uint32_t kUnsharedAudioBytes = 1764; // the least that a full sector of a disc holds

/// Sectors that `frames` frames take up at most, where nothing else stands between them.
std::uint32_t sectorsOf(const SacdArea& area, std::uint32_t frames)
{
    return frames * (area.frameBytes() / kUnsharedAudioBytes + 1);
}

/// More frames than these do not fit into the sectors, whatever a damaged track list says.
std::uint64_t mostFrames(const SacdArea& area, std::uint64_t sectors)
{
    constexpr std::uint64_t kMostStartsInSector = 7;
    return area.dst ? sectors * kMostStartsInSector : sectors * kSacdSectorBytes / area.frameBytes();
}

} // namespace

std::unique_ptr<SACDReader> SACDReader::open(std::unique_ptr<ByteSource> image, const SacdOptions& options,
                                             Reporter& report)
{
    std::unique_ptr<SACDReader> reader(new SACDReader(std::move(image), options, report));
    if (!reader->readContents() || !reader->chooseArea()) return nullptr;
    SACDReader& r = *reader;
    r.clampToImage();
    r.frameInfoBytes_ = discFrameInfoBytes(r.area_);
    if (!r.selectTrack(0)) return nullptr;
    trace("[iso] selectTrack(0) ok, calling probeSectorLayout");
    if (!r.firstTrackIsThere()) return nullptr;
    const auto frameInfoBytes = probeSectorLayout(r.image_, r.area_, report);
    if (!frameInfoBytes) return nullptr;
    if (std::exchange(r.frameInfoBytes_, *frameInfoBytes) != *frameInfoBytes && !r.selectTrack(0)) return nullptr;
    return reader;
}

bool SACDReader::readContents()
{
    if (!image_.detectFlavour()) {
        report_.error(
            "SACDReader: the file is not a disc image (no table of contents at sector 510), nor a DSF, DSDIFF "
            "or WSD file\n");
        return false;
    }
    auto master = readSacdMaster(image_);
    if (!master) {
        report_.error("SACDReader: the disc image's table of contents names no area; all three copies of it are "
                      "damaged or empty, please copy the disc again\n");
        return false;
    }
    master_ = *std::move(master);
    tracef("[iso] image: %u sectors of %u bytes", image_.sectorCount(), image_.flavour());
    return true;
}

bool SACDReader::chooseArea()
{
    const bool stereo = options_.area == SacdAreaChoice::stereo ||
                        (options_.area == SacdAreaChoice::automatic && master_.disc.hasStereo);
    const char* name = stereo ? "stereo" : "multichannel";
    const SacdAreaPlace& place = stereo ? master_.stereo : master_.multichannel;
    if (!place.exists()) {
        report_.error("SACDReader: the disc image has no %s area; choose the %s one\n", name,
                      stereo ? "multichannel" : "stereo");
        return false;
    }
    std::string why;
    auto area = readSacdArea(image_, place, master_.disc, why);
    if (!area) {
        report_.error("SACDReader: the %s area cannot be used: %s. Please copy the disc again, or choose its other "
                      "area\n",
                      name, why.c_str());
        return false;
    }
    area_ = *std::move(area);
    return true;
}

/// Tells a truncated image, and how much of it there is.
void SACDReader::clampToImage()
{
    const std::uint32_t there = image_.sectorCount();
    if (area_.lastLsn < there) return;
    truncated_ = true;
    report_.alert("SACDReader: the disc image is truncated: it ends after %u sectors, its area needs %llu. What is "
                  "there is converted; please copy the disc again\n",
                  there, static_cast<unsigned long long>(area_.lastLsn) + 1);
    area_.lastLsn = there - 1;
    availableEnd_ = endOfLastWholeFrame();
}

/// Reads the end of the image: the last sectors hold at least one whole frame.
std::uint32_t SACDReader::endOfLastWholeFrame()
{
    if (area_.lastLsn < area_.firstLsn) return 0;
    const std::uint32_t tail = 16 + sectorsOf(area_, 2);
    const std::uint32_t begin = std::max(area_.firstLsn, area_.lastLsn - std::min(area_.lastLsn, tail));
    CollectingReporter unheard; // all of it is reported when the sound itself is read
    SacdFrames frames(image_, area_, unheard);
    frames.select({0, ~0u, begin, area_.lastLsn + 1});
    std::uint32_t end = begin == area_.firstLsn ? 0 : ~0u;
    CodedFrame frame;
    for (std::uint32_t number = 0; frames.next(frame, number);) end = number + 1;
    return end;
}

bool SACDReader::firstTrackIsThere()
{
    if (area_.tracks.empty() || area_.tracks[0].startLsn <= area_.lastLsn) return true;
    report_.error("SACDReader: the first track begins at sector %u, behind the last sector of the area that the disc "
                  "image holds (%u): there is nothing to convert\n",
                  area_.tracks[0].startLsn, area_.lastLsn);
    return false;
}

/// The frames of a track, and the sectors up to the one in which the next track begins: its last frame may end there.
SacdSelection SACDReader::promised(unsigned number) const
{
    SacdSelection selection{0, 0, area_.firstLsn, area_.lastLsn + 1};
    if (area_.tracks.empty()) return selection;
    const SacdTrack& track = area_.tracks[number == 0 ? 0 : number - 1];
    selection.firstFrame = track.startFrame;
    selection.endFrame = track.startFrame + track.frames;
    selection.firstLsn = std::min(std::max(track.startLsn, area_.firstLsn), selection.endLsn);
    if (number == 0)
        for (const SacdTrack& other : area_.tracks)
            selection.endFrame = std::max(selection.endFrame, other.startFrame + other.frames);
    else if (number < area_.tracks.size() && area_.tracks[number].startLsn > track.startLsn) {
        const std::uint64_t next = area_.tracks[number].startLsn, own = std::uint64_t{track.startLsn} + track.sectors;
        selection.endLsn =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(selection.endLsn, std::max(next + 1, own)));
    }
    return selection;
}

bool SACDReader::selectTrack(unsigned number)
{
    if (number > area_.tracks.size()) return false;
    SacdSelection selection = promised(number);
    const std::uint32_t first = selection.firstFrame, promisedEnd = selection.endFrame;
    const std::uint64_t fitting = first + mostFrames(area_, selection.endLsn - selection.firstLsn);
    selection.endFrame = static_cast<std::uint32_t>(
        std::min({std::uint64_t{promisedEnd}, fitting, std::uint64_t{std::max(availableEnd_, first)}}));
    if (selection.endFrame < promisedEnd && !truncated_)
        report_.alert("SACDReader: the track list promises %u frames where the disc has room for %u; what is there is "
                      "converted\n",
                      promisedEnd - first, selection.endFrame - first);
    if (number > 0 && selection.endFrame == first && truncated_)
        report_.alert("SACDReader: track %u lies beyond the end of the disc image and is empty\n", number);
    sound_ = SacdSound::begin(image_, area_, frameInfoBytes_, selection, options_.dstLevel, report_);
    return sound_ != nullptr;
}

std::unique_ptr<DsdReader> SACDReader::before(unsigned track, std::uint32_t frames)
{
    if (track < 2 || track > area_.tracks.size()) return nullptr;
    const SacdTrack& own = area_.tracks[track - 1];
    const std::uint32_t start = area_.tracks[0].startFrame;
    const std::uint32_t count = own.startFrame > start ? std::min(frames, own.startFrame - start) : 0;
    // The last of them may end in the sector in which the track begins.
    const std::uint64_t room = sectorsOf(area_, count + 1);
    const std::uint32_t firstLsn = own.startLsn > room ? own.startLsn - static_cast<std::uint32_t>(room) : 0;
    return neighbour({own.startFrame - count, own.startFrame, firstLsn, own.startLsn + 1});
}

std::unique_ptr<DsdReader> SACDReader::behind(unsigned track, std::uint32_t frames)
{
    if (track < 1 || track >= area_.tracks.size()) return nullptr;
    const SacdSelection own = promised(track);
    const std::uint32_t room = sectorsOf(area_, 1), more = sectorsOf(area_, frames + 1);
    return neighbour({own.endFrame, own.endFrame + frames, own.endLsn - std::min(own.endLsn, room), own.endLsn + more});
}

std::unique_ptr<DsdReader> SACDReader::neighbour(const SacdSelection& selection)
{
    SacdSelection s = selection;
    s.firstLsn = std::clamp(s.firstLsn, area_.firstLsn, area_.lastLsn + 1);
    s.endLsn = std::clamp(s.endLsn, s.firstLsn, area_.lastLsn + 1);
    s.endFrame = std::max(std::min(s.endFrame, availableEnd_), s.firstFrame);
    unheard_.text.clear();
    return SacdSound::begin(image_, area_, frameInfoBytes_, s, options_.dstLevel, unheard_);
}

} // namespace tesk
