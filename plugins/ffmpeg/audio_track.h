// One audio stream of a media file, decoded frame by frame.
#pragma once

#include "plugins/ffmpeg/av_handles.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tesk {

struct TrackFormat {
    int channels = 0;                 // at least 1
    int sampleRate = 0;               // Hz
    int bitsPerSample = 0;            // of the source; 0 for lossy codecs
    bool isFloat = false;             // the source holds floating-point samples
    bool lossless = false;            // the decoder gives back what the encoder was fed
    std::uint64_t declaredFrames = 0; // what the container claims, perhaps with an encoder's padding; 0: nothing
    std::uint64_t totalFrames = 0;    // the same where it is exact, else 0
    std::string codec;                // "ALAC"
};

/// What went wrong since the track was opened or last moved, and did not stop the decoding.
struct Damage {
    std::uint64_t packets = 0; // could not be decoded and were left out
    std::uint64_t gaps = 0;    // places where the time stamps jump ahead
    bool cutShort = false;     // the file ends, or cannot be read on, before its stream does
    std::string stop;          // why the decoding ended before the end of the file
};

/// Damage never ends in silence or a repeated frame: what cannot be decoded is left out, counted, and told.
class AudioTrack {
public:
    /// Opens the best audio stream of the file at the UTF-8 path and decodes its first frame. Reads nothing but this
    /// file, whatever the file refers to. False with the reason in `error`.
    bool open(const std::string& path, std::string& error);

    const TrackFormat& format() const { return format_; }

    /// The frame decoded last; its samples are valid until next() or moveTo().
    const AVFrame& frame() const { return *frame_; }

    /// Decodes the next frame, of at least one sample. False at the end; `damage()` tells whether it is the real one.
    bool next();

    /// Where the current frame starts on the clock of the file, in sample frames. Nothing when the file does not tell,
    /// or its clock is a guess or ticks more coarsely than the samples.
    std::optional<std::int64_t> time() const { return exactClock_ ? time_ : std::nullopt; }

    /// Moves to a place at or before `time` on the same clock; next() decodes the frame there. The decoder starts
    /// without history. False when the file cannot be moved in.
    bool moveTo(std::int64_t time);

    const Damage& damage() const { return damage_; }
    void forgetDamage() { damage_ = {}; }

private:
    bool openFile(const std::string& path, std::string& error);
    bool openStream(std::string& error);
    bool describe(std::string& error);
    std::int64_t containerFrames() const;
    void measure();
    void feed();
    bool readPacket();
    void countLostPacket();
    bool isSound(const AVPacket& packet) const;
    bool isContainer(const char* name) const;
    bool decodable(const AVPacket& packet) const;
    bool accept();
    void keepTime();

    AvOwner<AVFormatContext> file_;
    AvOwner<AVCodecContext> codec_;
    AvOwner<AVPacket> packet_{av_packet_alloc()};
    AvOwner<AVFrame> frame_{av_frame_alloc()};
    AVStream* stream_ = nullptr;
    TrackFormat format_;
    Damage damage_;
    bool bare_ = false;                   // a stream of packets without a container
    std::int64_t tagsStart_ = 0;          // position in a bare stream's file behind the last packet
    bool draining_ = false;               // no packet is left
    bool exactClock_ = false;             // time stamps are to be trusted to the sample
    std::int64_t stamp_ = AV_NOPTS_VALUE; // of the current frame, in ticks
    std::optional<std::int64_t> time_;    // of the current frame, in sample frames
    std::optional<std::int64_t> after_;   // where the frame after it should start
};

} // namespace tesk
