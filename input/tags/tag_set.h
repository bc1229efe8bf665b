// The tags of a file as one flat set, whatever the format keeps them in.
#pragma once

#include "input/byte_source.h"
#include "input/tags/replay_gain.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tesk {

struct TagPicture {
    std::vector<std::uint8_t> image; ///< the bytes of the picture file
    bool frontCover = false;
};

/// UTF-8 texts by upper-case name in the Vorbis comments' vocabulary: TITLE, ARTIST, ALBUM, GENRE, DATE, WORK,
/// TRACK, COMMENT and whatever else there is; the first value where a format has several. Names are the canonical ones
/// above even where the format has its own (TRACKNUMBER, TRCK, trkn → TRACK; YEAR → DATE when there is no DATE;
/// DESCRIPTION → COMMENT when there is no COMMENT).
struct TagSet {
    std::string format =
        "Unknown"; ///< "WAV", "AIFF", "FLAC", "APE", "WavPack", "TTA", "OGG", "M4A", "DSF", "DFF", "MP3"
    std::map<std::string, std::string> texts;
    std::vector<TagPicture> pictures;
    ReplayGain replayGain;
};

/// Reads all tags of a file. A file without tags, a damaged one and a missing one give a set without them; texts are
/// valid UTF-8 without control characters but line breaks and tabs (malformed bytes become U+FFFD, a NUL ends a text).
/// Never throws but std::bad_alloc; may be called from any thread.
TagSet readTagSet(const std::string& path);

/// The same for a file that is open, or that stands in memory.
TagSet readTagSet(ByteSource& source);

} // namespace tesk
