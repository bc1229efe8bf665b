// One file in the media library's hands: opening, decoding frame by frame, going to another place.
#pragma once

#include "engine/base/reporter.h"
#include "input/loaded/media_layout.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tesk {

struct MediaLibraryApi; // input/loaded/media_library.h

/// How the library hands over samples.
struct SampleFormat {
    int bytes; ///< of one sample
    bool planar, isFloat;
};

struct CodecRow {
    int id;           ///< the library's number
    const char* name; ///< for the user
    bool lossless;    ///< a packet decodes to the same samples whatever was decoded before
};

/// One opened file: the library's objects, the packet at work and the decoded frame.
class MediaStream {
public:
    enum class Step { frame, end, failed };

    /// Both outlive the stream; with TESK_RAWFF_TRACE set, each step is told to `report`.
    MediaStream(const MediaLibraryApi& api, Reporter& report);
    ~MediaStream();
    MediaStream(const MediaStream&) = delete;
    MediaStream& operator=(const MediaStream&) = delete;

    /// Up to a decoder that is ready; false with `error` set.
    bool open(const std::string& path) { return openInput(path) && findInfo() && findAudio() && openDecoder(); }

    /// Decodes the next frame into `samples`. Damaged packets are counted and passed over; after too many in a row the
    /// stream counts as ended. With Step::failed, `error` is set.
    Step next();

    /// Goes to the last packet border at or before `frame`, counted from time `first`. False when the library cannot;
    /// the position is then lost.
    bool seek(std::uint64_t frame, std::int64_t first);

    /// Frames from time `first` to `timestamp`; nothing when that is no time behind it.
    std::optional<std::uint64_t> framesSince(std::int64_t first) const;

    std::size_t frames() const { return samples.empty() ? 0 : samples[0].size(); }
    /// Whether so much was damaged that the rest was not tried.
    bool gaveUp() const;

    int field(const media::Field<std::int32_t>& field) const { return field.of(codec_); }
    CodecRow codec() const;

    /// What the header claims, rounded up where the header counts in units of several frames.
    std::optional<std::uint64_t> declaredFrames() const;

    /// Whether times name frames without rounding. A unit of several frames does so only for Monkey's Audio, which
    /// counts in 4,608 and makes its packets of whole multiples of that.
    bool timesAreExact() const;

    /// One line on the report when tracing is on.
    [[gnu::format(printf, 2, 3)]] void trace(const char* text, ...);

    std::vector<std::vector<double>> samples;     // [channels][frames]
    SampleFormat coding{};                        // of the last frame
    int sampleRate = 0;                           // Hz, of the first frame
    std::int64_t timestamp = media::kNoTimestamp; // of the first packet since opening or seeking
    unsigned damagedPackets = 0;
    std::string error;

private:
    std::int64_t framesPerTick() const;
    bool openInput(const std::string& path);
    bool findInfo();
    bool findAudio();
    bool openDecoder();
    bool plausible() const;
    bool converts(int number);
    bool fetchPacket();
    bool takePacket();
    void advance(int used, bool gotFrame);
    void release();
    bool takeFrame();
    bool takeShape();
    bool refuse(std::string why);
    std::string words(int code) const;

    const MediaLibraryApi& api_;
    Reporter& report_;
    const bool tracing_;
    void* context_ = nullptr;
    const void* stream_ = nullptr;
    void* codec_ = nullptr;
    bool codecOpen_ = false;
    int index_ = 0; // of the stream in the file
    bool holdsPacket_ = false, packetDamaged_ = false, draining_ = false, ended_ = false;
    int damagedInARow_ = 0;
    alignas(16) std::array<std::uint8_t, media::packet::kRoom> packet_{};
    alignas(16) std::array<std::uint8_t, media::packet::kRoom> cursor_{}; // what is left of the packet
    alignas(64) std::array<std::uint8_t, media::frame::kRoom> frame_{};
};

} // namespace tesk
