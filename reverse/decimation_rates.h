// Which PCM rate a one-bit stream comes down to, and the filter lengths that follow from it.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/result.h"
#include "reverse/reverse_settings.h"

namespace tesk {

struct DecimationRates {
    std::uint32_t decimation = 1; ///< D
    std::uint32_t outRate = 0;    ///< Hz, whole part of dsdRate / D
    double cutoff = 0;            ///< Hz
    std::uint32_t firTaps = 0;
    std::uint64_t skipFrames = 0; ///< dropped at the start: a whole filter length
};

/// The rate that was asked for when it divides the one-bit rate, else the base rate of the family, with a warning.
/// DSD_ERROR, with the reason printed, when no PCM rate divides the one-bit rate.
Result<DecimationRates, PDM_ENCODING_STATUS> settleRates(const ReverseSettings& settings, double dsdRate,
                                                         Reporter& report);

} // namespace tesk
