// What the options ask to be told about a design: files beside the output.
#pragma once

#include "pipeline/pcm2pdm.h"

#include <vector>

namespace tesk {

/// freq_response.txt and fir_coeff.txt of the filter as it was designed (--log fir, freq, all).
void reportDesignedFilter(const Pcm2pdm& job, const std::vector<double>& taps);

/// FreqGain.txt and the pictures of the filter as it is used.
void reportFinalFilter(const Pcm2pdm& job, const std::vector<double>& taps);

/// ntf_response.txt and its picture (--log ns, all).
void reportNoiseTransferFunction(const Pcm2pdm& job);

} // namespace tesk
