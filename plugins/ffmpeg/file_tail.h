// What the last bytes of a file tell and FFmpeg's demuxers do not.
#pragma once

#include "plugins/ffmpeg/av_handles.h"

#include <cstdint>

namespace tesk {

/// Whether the last page of an Ogg file is there to its end, has the right checksum and says that it is the last. The
/// demuxer drops a page that is cut or damaged without a word; in the middle the time stamps betray the hole, but the
/// last page has nothing behind it. Moves the position of `file`. Source: RFC 3533, section 6.
bool oggEndsWhole(AVIOContext& file);

/// Where the tags at the end of a bare stream of packets (MP3, AAC) begin; the size of the file when there are none.
/// The demuxers take an APE tag for packets. Keeps the position of `file`.
/// Source: ID3v1; APEv2, whose footer gives the bytes of items and footer; a header of 32 bytes may precede them.
std::int64_t tagsStart(AVIOContext& file);

} // namespace tesk
