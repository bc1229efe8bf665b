// What a conversion back to PCM writes: in which form, and which part of the source into which file.
#pragma once

#include "container/reader/open_dsd.h"
#include "reverse/disc_tracks.h"
#include "reverse/reverse_settings.h"

namespace tesk {

/// Chooses the container and changes in the settings what it cannot hold, with a line that says so.
PcmContainer settleFormat(ReverseSettings& settings, Reporter& report);

/// The pieces in order, at least one, each with its tags. DSD_ERROR, with the reason printed, when the source has no
/// such track.
Result<std::vector<ReversePiece>, PDM_ENCODING_STATUS> planPieces(const ReverseSettings& settings,
                                                                  const DsdInput& source, Reporter& report);

} // namespace tesk
