#include "plugins/ffmpeg/decoder.h"

#include "plugins/ffmpeg/interleave.h"

#include <algorithm>

namespace tesk {
namespace {

// Where the length is not exact, containers count an encoder's delay and padding in or leave them out: two or three
// codec frames at most.
constexpr std::uint64_t kLengthTolerance = 8192;
/// What a decoder of lossy music may swallow in front: FFmpeg's takes 128 frames, half a short block, from a Vorbis
/// file of one page. Less than a lost packet.
constexpr std::uint64_t kFirstBlock = 256;

} // namespace

std::uint64_t Decoder::Cursor::left() const
{
    return ended ? 0 : static_cast<std::uint64_t>(track->frame().nb_samples - used);
}

/// Decodes on when the current frame is used up. False at the end.
bool Decoder::Cursor::take()
{
    if (ended || left() > 0) return !ended;
    used = 0;
    ended = !track->next();
    return !ended;
}

bool Decoder::start(Cursor& cursor, std::string& error) const
{
    cursor = {};
    cursor.track = std::make_unique<AudioTrack>();
    return cursor.track->open(path_, error);
}

bool Decoder::open(const std::string& path)
{
    path_ = path;
    if (!start(at_, error_)) return false;
    zero_ = at_.track->time();
    order_ = waveOrder(at_.track->frame());
    return true;
}

std::int64_t Decoder::read(double* interleaved, std::uint64_t frames)
{
    const auto channels = static_cast<std::uint64_t>(format().channels);
    std::uint64_t done = 0;
    while (done < frames && at_.take()) {
        const std::uint64_t count = std::min(frames - done, at_.left());
        if (!interleave(at_.track->frame(), at_.used, static_cast<int>(count), order_, interleaved + done * channels,
                        replaced_)) {
            error_ = "the decoder's sample format is unknown";
            return -1;
        }
        at_.used += static_cast<int>(count);
        at_.frame += count;
        done += count;
    }
    const std::string lost = loss();
    const std::string words = lost.empty() ? flaws() : lost;
    if (!words.empty()) error_ = words;
    if (done > 0 || frames == 0) return static_cast<std::int64_t>(done);
    return lost.empty() ? 0 : -1;
}

/// What is wrong in places; "" when nothing is so far.
std::string Decoder::flaws() const
{
    const Damage& damage = at_.track->damage();
    if (damage.packets > 0) return std::to_string(damage.packets) + " packets could not be decoded";
    if (damage.gaps > 0) return "the sound has " + std::to_string(damage.gaps) + " gaps";
    if (replaced_ > 0) return std::to_string(replaced_) + " samples that were no numbers became silence";
    return "";
}

/// Why the file does not count as whole; "" when it does so far.
std::string Decoder::loss() const
{
    const Damage& damage = at_.track->damage();
    if (!damage.stop.empty()) return damage.stop;
    if (format().lossless && (damage.packets > 0 || damage.gaps > 0)) return flaws();
    if (damage.cutShort) return "the file is cut short";
    const std::uint64_t exact = format().lossless ? 0 : kFirstBlock;
    const std::uint64_t tolerance = format().totalFrames > 0 ? exact : kLengthTolerance;
    if (at_.ended && at_.frame + tolerance < format().declaredFrames)
        return "the sound ends after " + std::to_string(at_.frame) + " of " + std::to_string(format().declaredFrames) +
               " frames";
    return "";
}

/// On a second opening of the file: a failure leaves the first where it was, and the start is the real one, with the
/// encoder's delay removed.
bool Decoder::seek(std::uint64_t frame)
{
    Cursor cursor;
    std::string reason;
    if (!start(cursor, reason)) {
        error_ = "cannot open the file again: " + reason;
        return false;
    }
    const TrackFormat& now = cursor.track->format();
    const bool same = now.channels == format().channels && now.sampleRate == format().sampleRate;
    if (!same || (!jumpTo(cursor, frame) && !(start(cursor, reason) && playTo(cursor, frame)))) {
        error_ = same ? "there is no frame " + std::to_string(frame) : "the file has changed";
        return false;
    }
    at_ = std::move(cursor);
    return true;
}

/// Decodes and drops what is before `frame`. The end counts as reached when it is right there.
bool Decoder::playTo(Cursor& cursor, std::uint64_t frame) const
{
    while (cursor.frame < frame && cursor.take()) {
        const std::uint64_t count = std::min(frame - cursor.frame, cursor.left());
        cursor.used += static_cast<int>(count);
        cursor.frame += count;
    }
    return cursor.frame == frame;
}

/// Lets the container find the place by its clock, one second early. False when the way there is not sure to be right;
/// the cursor is then of no use any more. Lossy decoders carry noise and filters along that no run-up brings back.
bool Decoder::jumpTo(Cursor& cursor, std::uint64_t frame) const
{
    const auto runUp = static_cast<std::uint64_t>(format().sampleRate);
    if (!format().lossless || !zero_ || frame <= 2 * runUp || frame >= std::uint64_t{1} << 62) return false;
    AudioTrack& track = *cursor.track;
    if (!track.moveTo(*zero_ + static_cast<std::int64_t>(frame - runUp)) || !track.next() || !track.time())
        return false;
    const std::int64_t landed = *track.time() - *zero_;
    if (landed < 0 || static_cast<std::uint64_t>(landed) > frame) return false;
    cursor.frame = static_cast<std::uint64_t>(landed);
    if (!playTo(cursor, frame) || track.damage().gaps > 0) return false;
    track.forgetDamage(); // a decoder may stumble over its missing history
    return true;
}

} // namespace tesk
