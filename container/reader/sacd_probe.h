// Proof, before anything is played, that the sectors of a plain area are laid out in a way that we know.
#pragma once

#include "container/reader/sacd_sector.h"
#include "engine/base/reporter.h"

#include <optional>

namespace tesk {

/// Samples sectors of the area's first track in which frames begin. A wrong size of the frame information would shift
/// the sound by a byte per frame and make noise of it.
/// @return  3 or 4, the bytes of the frame information; nothing, with the reason on `report`, when the area has no
///          track or most of the sampled sectors fit neither. A DST-coded area is taken as it is.
std::optional<unsigned> probeSectorLayout(sacd_iso_reader& image, const SacdArea& area, Reporter& report);

} // namespace tesk
