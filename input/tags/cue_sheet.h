// CUE sheets: where the tracks of one long recording begin, and what they are called.
#pragma once

#include "input/tags/replay_gain.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tesk {

/// Positions count samples at 44,100 per second, whatever the input's rate is.
struct CueTrack {
    int number = 0;
    std::string title, performer;
    std::uint32_t start = 0;
    std::uint32_t end = 0; ///< where the next track starts; 0 for the last one: the end of the input
    ReplayGain replayGain; ///< of REM lines
};

struct CueSheet {
    std::string title, performer;   ///< of the disc: what stood before the first TRACK
    std::string genre, date;        ///< of REM GENRE and REM DATE
    std::vector<std::string> files; ///< the FILE lines' names, in order
    std::vector<CueTrack> tracks;
    ReplayGain replayGain; ///< REM lines before the first TRACK
};

/// Reads a sheet; true when it has at least one track. Texts become UTF-8: a byte order mark tells UTF-8 and UTF-16,
/// and bytes that are no UTF-8 are taken for Windows-1252. Lines count up to 1,023 bytes and texts up to 255, of the
/// sheet as it is written (of its UTF-8 form when it is UTF-16). A TRACK line without a number is left out together
/// with what belongs to it, and so is everything behind 10,000 tracks. False for a file above 16 MiB too.
bool parse_cue(const std::string& path, CueSheet& sheet);

/// The same for text in memory.
bool parseCueText(const std::string& bytes, CueSheet& sheet);

/// What is wrong with the tracks as pieces of one input: a number outside 0-998 or twice, a track that starts where or
/// before the one before it does. Empty when nothing is.
std::string cueFault(const CueSheet& sheet);

} // namespace tesk
