// One forward conversion, from the checks to the last report.
#pragma once

#include "pipeline/pcm2pdm.h"

namespace tesk {

struct JobResult {
    PDM_ENCODING_STATUS status = DSD_SUCCESS;
    JobTiming timing;
};

/// Runs the job that the settings ask for. Nothing is written before everything that can fail beforehand has
/// succeeded; a failed run leaves an existing output as it was, a stopped one leaves what it had written.
/// A failure that ends the process when the engine owns it is returned as DSD_ERROR_ASSERT like any other status.
JobResult convertPcmToPdm(const ConversionSettings& settings, const JobEnvironment& environment,
                          const JobPiece& piece = {});

} // namespace tesk
