// The level that a recording's own tags ask for.
#pragma once

#include "pipeline/pcm2pdm.h"

namespace tesk {

/// Applies --rg to the plan's input gain: the track's or the album's gain, the other one where only that is known, but
/// never more than the peak leaves room for: the larger one of the tag's and the measured. Prints what was applied, or
/// that the input has no such tag.
void settleReplayGain(Pcm2pdm& job);

} // namespace tesk
