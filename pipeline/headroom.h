// Attenuation before a modulator that does not take full scale.
#pragma once

#include "pipeline/pcm2pdm.h"

namespace tesk {

/// Applies --headroom to the plan's input gain: a fixed number of decibels, or as many as keep the oversampled
/// peak half a decibel below the modulator's measured onset of overload, or below full scale where there is none. The
/// automatic form runs the oversampler once over the whole signal.
Status settleHeadroom(Pcm2pdm& job);

/// Largest magnitude behind the oversampler over the whole signal, in dB of full scale (0 dBFS is half scale there);
/// −infinity for silence, nothing when a stop request is waiting.
std::optional<double> oversampledPeakDbfs(const Pcm2pdm& job);

} // namespace tesk
