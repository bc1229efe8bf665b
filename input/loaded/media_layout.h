// Where the 3.x generation of the media libraries keeps the few fields that the reader looks at.
//
// Offsets in bytes on 64-bit systems, measured with offsetof on the public headers of releases 3.0, 3.1, 3.2, 3.3 and
// 3.4: each is the same in all five. What moved between them (a stream's codec parameters, a frame's channel count)
// is not used.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tesk::media {

/// One field of somebody else's structure, read and written byte by byte.
template <class T>
struct Field {
    std::size_t offset;

    T of(const void* base) const
    {
        T value;
        std::memcpy(&value, static_cast<const char*>(base) + offset, sizeof value);
        return value;
    }
    void set(void* base, T value) const { std::memcpy(static_cast<char*>(base) + offset, &value, sizeof value); }
};

/// AVFormatContext, made by the library.
namespace container {
inline constexpr Field<std::uint32_t> streamCount{44};
inline constexpr Field<const void*> streams{48}; // array of pointers
} // namespace container

/// AVStream, made by the library.
namespace stream {
inline constexpr Field<void*> codec{8};
inline constexpr Field<std::int32_t> timeBaseNumerator{48};
inline constexpr Field<std::int32_t> timeBaseDenominator{52};
inline constexpr Field<std::int64_t> duration{64}; // in time base units
} // namespace stream

/// AVCodecContext, the one that hangs on the stream.
namespace codec {
inline constexpr Field<std::int32_t> type{12};
inline constexpr Field<std::int32_t> id{56};
inline constexpr Field<std::int32_t> sampleRate{472}; // Hz
inline constexpr Field<std::int32_t> channels{476};
inline constexpr Field<std::int32_t> sampleFormat{480};
inline constexpr Field<std::int32_t> rawBits{876}; // bits_per_raw_sample
} // namespace codec

/// AVPacket, ours: 88 bytes.
namespace packet {
inline constexpr std::size_t kRoom = 256;
inline constexpr Field<std::int64_t> timestamp{8}; // presentation, in the stream's time base
inline constexpr Field<const std::uint8_t*> data{24};
inline constexpr Field<std::int32_t> size{32};
inline constexpr Field<std::int32_t> streamIndex{36};
inline constexpr Field<std::int32_t> flags{40};
} // namespace packet

/// AVFrame, ours: 480 bytes (3.0) to 528 (3.4). Zeroed and passed once to av_frame_unref, which then clears what the
/// library at hand believes to be its size.
namespace frame {
inline constexpr std::size_t kRoom = 4096;
inline constexpr Field<std::int32_t> planeBytes{64}; // linesize[0]
inline constexpr Field<const void*> planes{96};      // extended_data, array of pointers
inline constexpr Field<std::int32_t> samples{112};   // per channel
inline constexpr Field<std::int32_t> sampleFormat{116};
} // namespace frame

inline constexpr int kAudio = 1; // AVMEDIA_TYPE_AUDIO
inline constexpr int kEndOfFile = -541478725;
inline constexpr int kTryAgain = -11;
inline constexpr int kPacketCorrupt = 2;
inline constexpr int kSeekBackward = 1;
inline constexpr int kQuiet = -8;
inline constexpr int kMajor = 57; // of libavformat, in all of 3.x
inline constexpr std::int64_t kNoTimestamp = INT64_MIN;

} // namespace tesk::media
