#include "container/reader/sacd_reader.h"

#include "container/reader/interleaved_sound.h"
#include "container/reader/sacd_probe.h"
#include "engine/base/report.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::uint8_t kSilence = 0x69;

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
    r.frames_ = std::make_unique<SacdFrames>(r.image_, r.area_, report);
    r.silence_.assign(r.area_.frameBytes(), kSilence);
    if (!r.selectTrack(0)) return nullptr;
    trace("[iso] selectTrack(0) ok, calling probeSectorLayout");
    if (!r.firstTrackIsThere()) return nullptr;
    const auto frameInfoBytes = probeSectorLayout(r.image_, r.area_, report);
    if (!frameInfoBytes) return nullptr;
    r.frames_->setFrameInfoBytes(*frameInfoBytes);
    return reader;
}

bool SACDReader::readContents()
{
    if (!image_.detectFlavour()) {
        report_.error("SACDReader: the file is not a disc image (no table of contents at sector 510)\n");
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
    source_ = {
        DsdSource::Kind::disc, area_.channels, area_.dsdRate, area_.frameBytes() / area_.channels, 0, false, area_.dst};
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
    constexpr std::uint32_t kUnsharedAudioBytes = 1764; // the least that a full sector of a disc holds
    const std::uint32_t tail = 16 + 2 * (area_.frameBytes() / kUnsharedAudioBytes + 1);
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
    selection_ = promised(number);
    const std::uint32_t first = selection_.firstFrame, promisedEnd = selection_.endFrame;
    const std::uint64_t fitting = first + mostFrames(area_, selection_.endLsn - selection_.firstLsn);
    selection_.endFrame = static_cast<std::uint32_t>(
        std::min({std::uint64_t{promisedEnd}, fitting, std::uint64_t{std::max(availableEnd_, first)}}));
    if (selection_.endFrame < promisedEnd && !truncated_)
        report_.alert("SACDReader: the track list promises %u frames where the disc has room for %u; what is there is "
                      "converted\n",
                      promisedEnd - first, selection_.endFrame - first);
    if (number > 0 && selection_.endFrame == first && truncated_)
        report_.alert("SACDReader: track %u lies beyond the end of the disc image and is empty\n", number);
    return start();
}

/// Begins to read the selection.
bool SACDReader::start()
{
    source_.samples = std::uint64_t{selection_.endFrame - selection_.firstFrame} * source_.blockBytes * 8;
    frames_->select(selection_);
    delivered_ = 0;
    frame_ = {};
    at_ = 0;
    havePlain_ = plainEnded_ = false;
    if (!area_.dst) return true;
    const auto next = [this](CodedFrame& frame) {
        std::uint32_t ignored = 0;
        return frames_->next(frame, ignored);
    };
    playback_ = std::make_unique<DstPlayback>(next, DstPlayback::Damaged::dropped, report_, options_.dstLevel);
    return playback_->init(area_.channels, area_.dsdRate).ok();
}

std::size_t SACDReader::read(std::uint8_t* const* planar, std::size_t bytes)
{
    std::size_t done = 0;
    while (done < bytes && (at_ < frame_.size() || nextFrame())) {
        const std::size_t count = std::min(bytes - done, (frame_.size() - at_) / area_.channels);
        deinterleave(frame_.data() + at_, area_.channels, count, planar, done);
        at_ += count * area_.channels;
        done += count;
    }
    return done;
}

/// Takes the next frame in hand. False at the end.
bool SACDReader::nextFrame()
{
    frame_ = {};
    at_ = 0;
    if (delivered_ >= selection_.endFrame - selection_.firstFrame) return false;
    if (area_.dst)
        frame_ = playback_->nextFrame();
    else
        nextPlainFrame();
    if (frame_.empty()) {
        countLeftOut();
        return false;
    }
    ++delivered_;
    return true;
}

/// At the end of the sound: frames of which nothing was found.
void SACDReader::countLeftOut()
{
    const std::uint64_t promisedFrames = selection_.endFrame - selection_.firstFrame;
    const std::uint64_t found = delivered_ + (playback_ ? playback_->problems().decodeFailures : 0);
    if (promisedFrames > found) leftOutFrames_ += promisedFrames - found;
    selection_.endFrame = selection_.firstFrame + delivered_; // once
}

/// The plain frame that is due, or silence in its place.
void SACDReader::nextPlainFrame()
{
    const std::uint32_t due = selection_.firstFrame + delivered_;
    while (!plainEnded_ && (!havePlain_ || plainNumber_ < due)) {
        havePlain_ = frames_->next(plain_, plainNumber_);
        plainEnded_ = !havePlain_;
    }
    if (havePlain_ && plainNumber_ == due) {
        frame_ = plain_.bytes;
        havePlain_ = false;
    } else if (havePlain_ || !frames_->mediumFailed()) {
        frame_ = silence_;
        ++silentFrames_;
    }
}

void SACDReader::reportProblems(const char* name)
{
    if (playback_) playback_->reportProblems(name);
    const SacdFaults& faults = frames_->faults();
    if (faults.incompleteFrames == 0 && faults.badSectors == 0 && silentFrames_ == 0 && leftOutFrames_ == 0) return;
    report_.alert("%s: disc image problem summary -- damaged sectors %llu, incomplete frames %llu, frames replaced by "
                  "silence %llu, frames left out %llu. Please check the source disc.\n",
                  name, static_cast<unsigned long long>(faults.badSectors),
                  static_cast<unsigned long long>(faults.incompleteFrames),
                  static_cast<unsigned long long>(silentFrames_), static_cast<unsigned long long>(leftOutFrames_));
}

} // namespace tesk
