// What --adaptive chooses for a recording: filter type, modulator and headroom.
#pragma once

#include "analysis/music_measure.h"
#include "pipeline/pcm2pdm.h"

namespace tesk {

/// The values of --music-type.
enum class MusicType : int {
    wide = 1,   ///< large dynamics, quiet passages: the least noise counts
    percussive, ///< steep attacks over a low mean level: nothing should ring before them
    dense,      ///< compressed and loud: its level counts, and it covers noise
    narrowBand, ///< nothing in the upper half of the band: a gentle filter takes nothing away
};

/// @param rate  of the recording, Hz
MusicType classifyMusic(const analysis::MusicMeasure& measure, std::uint32_t rate);

/// With --adaptive: settles the filter type, the modulator and the headroom of job.settings, each only where no option
/// names it, and prints what was measured, what was chosen and why. Needs the loaded recording; comes before the
/// filter's design.
Status settleAdaptiveChoice(Pcm2pdm& job);

} // namespace tesk
