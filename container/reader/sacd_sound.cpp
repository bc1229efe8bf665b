#include "container/reader/sacd_sound.h"

#include "container/reader/interleaved_sound.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::uint8_t kSilence = 0x69;

} // namespace

DsdSource sacdSource(const SacdArea& area, std::uint32_t frames)
{
    const std::uint32_t frameBytes = area.frameBytes() / area.channels;
    return {DsdSource::Kind::disc,
            area.channels,
            area.dsdRate,
            frameBytes,
            std::uint64_t{frames} * frameBytes * 8,
            false,
            area.dst};
}

SacdSound::SacdSound(sacd_iso_reader& image, const SacdArea& area, const SacdSelection& selection, Reporter& report)
    : report_(report), source_(sacdSource(area, selection.endFrame - selection.firstFrame)),
      frames_(image, area, report), selection_(selection), silence_(area.frameBytes(), kSilence)
{
}

std::unique_ptr<SacdSound> SacdSound::begin(sacd_iso_reader& image, const SacdArea& area, unsigned frameInfoBytes,
                                            const SacdSelection& selection, DstSimdLevel dstLevel, Reporter& report)
{
    std::unique_ptr<SacdSound> sound(new SacdSound(image, area, selection, report));
    sound->frames_.setFrameInfoBytes(frameInfoBytes);
    sound->frames_.select(selection);
    if (!area.dst) return sound;
    const auto next = [frames = &sound->frames_](CodedFrame& frame) {
        std::uint32_t ignored = 0;
        return frames->next(frame, ignored);
    };
    sound->playback_ = std::make_unique<DstPlayback>(next, DstPlayback::Damaged::dropped, report, dstLevel);
    if (!sound->playback_->init(area.channels, area.dsdRate)) return nullptr;
    return sound;
}

std::size_t SacdSound::read(std::uint8_t* const* planar, std::size_t bytes)
{
    const std::uint32_t channels = source_.channels;
    std::size_t done = 0;
    while (done < bytes && (at_ < frame_.size() || nextFrame())) {
        const std::size_t count = std::min(bytes - done, (frame_.size() - at_) / channels);
        deinterleave(frame_.data() + at_, channels, count, planar, done);
        at_ += count * channels;
        done += count;
    }
    return done;
}

/// Takes the next frame in hand. False at the end.
bool SacdSound::nextFrame()
{
    frame_ = {};
    at_ = 0;
    if (delivered_ >= selection_.endFrame - selection_.firstFrame) return false;
    if (playback_)
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
void SacdSound::countLeftOut()
{
    const std::uint64_t promisedFrames = selection_.endFrame - selection_.firstFrame;
    const std::uint64_t found = delivered_ + (playback_ ? playback_->problems().decodeFailures : 0);
    if (promisedFrames > found) leftOutFrames_ += promisedFrames - found;
    selection_.endFrame = selection_.firstFrame + delivered_; // once
}

/// The plain frame that is due, or silence in its place.
void SacdSound::nextPlainFrame()
{
    const std::uint32_t due = selection_.firstFrame + delivered_;
    while (!plainEnded_ && (!havePlain_ || plainNumber_ < due)) {
        havePlain_ = frames_.next(plain_, plainNumber_);
        plainEnded_ = !havePlain_;
    }
    if (havePlain_ && plainNumber_ == due) {
        frame_ = plain_.bytes;
        havePlain_ = false;
    } else if (havePlain_ || !frames_.mediumFailed()) {
        frame_ = silence_;
        ++silentFrames_;
    }
}

void SacdSound::reportProblems(const char* name)
{
    if (playback_) playback_->reportProblems(name);
    const SacdFaults& faults = frames_.faults();
    if (faults.incompleteFrames == 0 && faults.badSectors == 0 && silentFrames_ == 0 && leftOutFrames_ == 0) return;
    report_.alert("%s: disc image problem summary -- damaged sectors %llu, incomplete frames %llu, frames replaced by "
                  "silence %llu, frames left out %llu. Please check the source disc.\n",
                  name, static_cast<unsigned long long>(faults.badSectors),
                  static_cast<unsigned long long>(faults.incompleteFrames),
                  static_cast<unsigned long long>(silentFrames_), static_cast<unsigned long long>(leftOutFrames_));
}

} // namespace tesk
