// What a recording is like, as far as numbers tell.
#pragma once

#include "engine/base/result.h"
#include "engine/base/stop_flag.h"

#include <cstdint>
#include <span>

namespace tesk::analysis {

struct MusicMeasure {
    double bandwidthHz = 0.0;     ///< where the spectrum ends, see below; 0 for silence
    double peakDbfs = -400.0;     ///< largest sample
    double crestDb = 0.0;         ///< largest sample over the RMS of all channels
    double loudnessLufs = -400.0; ///< integrated (EBU R 128)
    double rangeLu = 0.0;         ///< loudness range (EBU Tech 3342)
};

/// Measures planar sound. The bandwidth is read from the largest magnitudes of windows of 8192 samples that overlap by
/// half: the last bin within 100 dB of the loudest one. A recording shorter than a window counts as full band.
///
/// @param channels  [channel][frames], full scale ±1; at most 64
/// @param rate      Hz, 16 to 2822400
/// @return          DSD_ERROR_INIT when the meter cannot be had, kHostStopped when a stop request waits
Result<MusicMeasure, PDM_ENCODING_STATUS> measureMusic(std::span<const double* const> channels, std::uint64_t frames,
                                                       std::uint32_t rate, const StopFlag& stop);

} // namespace tesk::analysis
