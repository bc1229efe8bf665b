// A forward conversion that stops before the modulator: the oversampled signal as a PCM file.
#pragma once

#include "pipeline/convert.h"

namespace tesk {

/// As convertPcmToPdm. The output lies where the input did: the filter's delay is trimmed, and it is exactly `factor`
/// times as long. Its level is that of the oversampler, half the input's.
JobResult convertPcmToDxd(const ConversionSettings& settings, const JobEnvironment& environment,
                          const JobPiece& piece = {});

} // namespace tesk
