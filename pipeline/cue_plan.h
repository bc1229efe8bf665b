// From a CUE sheet and its recording to the pieces that are converted.
#pragma once

#include "input/tags/cue_sheet.h"
#include "pipeline/pcm2pdm.h"

#include <string>
#include <vector>

namespace tesk {

/// One track: its frames of the recording, the file it goes to, and what is known of it.
struct CuePiece {
    FrameRange range;      ///< the last track's reaches to the real end, whatever the header says
    std::uint64_t end = 0; ///< the first frame that is not the track's, as far as is known before decoding
    std::string path;      ///< empty when the output's name leaves none
    MetadataRecord metadata;
    std::optional<ReplayGain> replayGain; ///< of the sheet
};

struct CuePlan {
    std::string sheet, recording; ///< paths
    std::optional<ReplayGain> albumGain;
    std::vector<CuePiece> tracks;
};

/// Reads the sheet, finds and measures its recording, and settles every track. Texts rank: options, sheet, the
/// recording's own tags (those of the whole, so neither its title nor its track number). Prints the reason of a
/// failure: nothing has been written then.
Status planCueRun(const ConversionSettings& settings, const JobEnvironment& environment, CuePlan& plan);

/// The recording that a sheet's FILE line means, relative to the sheet's folder. Where it does not exist, a file of
/// the same name with another extension is taken, for sheets outlive the conversion of their recordings. Empty, with
/// `error` set, when there is none.
std::string recordingOfSheet(const std::string& sheetPath, const CueSheet& sheet, std::string& error);

} // namespace tesk
