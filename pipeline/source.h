// From the input's path to a signal that can be converted: loading, channels, rates.
#pragma once

#include "pipeline/pcm2pdm.h"

namespace tesk {

/// Loads settings.inputs[0], arranges its channels and settles the stream plan but for the guard.
Status loadSource(Pcm2pdm& job);

/// What the loader needs of the environment.
LoadContext loadContext(const JobEnvironment& environment);

/// The plan's rates, or a status when the source's rate is not one that DSD rates are built on. With `anyDivisor`
/// every rate that divides the DSD rate of a family is taken.
Result<StreamPlan, PDM_ENCODING_STATUS> planStream(std::uint32_t pcmRate, int oversampling, bool anyDivisor);

/// The plan of an oversampled PCM output.
/// @param outRate  Hz; 0: eight times the source's rate, but at most 352800 or 384000
/// @return         DSD_ERROR_PCMBASESAMPLERATE unless it is a multiple of the source's rate, at least twice it
Result<StreamPlan, PDM_ENCODING_STATUS> planDxd(std::uint32_t pcmRate, std::uint32_t outRate);

} // namespace tesk
