// Owners of FFmpeg's objects, and what differs between its versions (5.0 to 7.x).
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
}

#include <memory>
#include <string>

// The mask and the count of channels became one structure in FFmpeg 5.1; 7.0 dropped the old fields.
#define TESK_AV_HAS_CH_LAYOUT (LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 24, 100))

namespace tesk {

struct AvDeleter {
    void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
    void operator()(AVFrame* p) const { av_frame_free(&p); }
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};

template <class T>
using AvOwner = std::unique_ptr<T, AvDeleter>;

/// FFmpeg's words for one of its error codes.
inline std::string avErrorText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = "";
    av_strerror(code, text, sizeof text);
    return text;
}

inline int channelCount(const AVFrame& frame)
{
#if TESK_AV_HAS_CH_LAYOUT
    return frame.ch_layout.nb_channels;
#else
    return frame.channels;
#endif
}

/// Bit position of a channel's loudspeaker in the mask of a WAVE file. Layouts in FFmpeg's native order answer
/// ascending numbers: that order is WAVE's. The channel's index when nobody knows the loudspeakers.
inline int speakerOf(const AVFrame& frame, int channel)
{
#if TESK_AV_HAS_CH_LAYOUT
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_CUSTOM)
        return av_channel_layout_channel_from_index(&frame.ch_layout, static_cast<unsigned>(channel));
#else
    (void)frame;
#endif
    return channel;
}

} // namespace tesk
