// A track as a row of numbered frames: reading, moving, and the last word about damage.
#pragma once

#include "plugins/ffmpeg/audio_track.h"

#include <vector>

namespace tesk {

class Decoder {
public:
    /// False with the reason in error().
    bool open(const std::string& path);

    const TrackFormat& format() const { return at_.track->format(); }

    /// Writes up to `frames` frames, [frames × channels] interleaved doubles, full scale ±1.0. Answers how many; 0 at
    /// the end; −1, after the last frame that could be decoded, at the end of a file of which a part is lost. Damaged
    /// places of a lossy file lose nothing but themselves, as players have it: they are told in error() alone.
    std::int64_t read(double* interleaved, std::uint64_t frames);

    /// The next read starts at `frame`. False, with the position as before, when there is no such frame.
    bool seek(std::uint64_t frame);

    /// What went wrong last; "" when nothing did. Damage is told as soon as it was met.
    const std::string& error() const { return error_; }

private:
    /// An open track and how far it was played.
    struct Cursor {
        std::unique_ptr<AudioTrack> track;
        std::uint64_t frame = 0; // number of the next frame to read
        int used = 0;            // samples that were taken from the track's current frame
        bool ended = false;      // the track has no frame any more

        std::uint64_t left() const;
        bool take();
    };

    bool start(Cursor& cursor, std::string& error) const;
    bool playTo(Cursor& cursor, std::uint64_t frame) const;
    bool jumpTo(Cursor& cursor, std::uint64_t frame) const;
    std::string loss() const;
    std::string flaws() const;

    std::string path_;
    std::string error_;
    Cursor at_;
    std::optional<std::int64_t> zero_; // frame 0 on the clock of the file
    std::vector<int> order_;           // of the channels
    std::uint64_t replaced_ = 0;       // samples that were no numbers
};

} // namespace tesk
