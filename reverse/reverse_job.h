// One conversion back to PCM, from the checks to the last line: a file, a disc, or its tracks one by one.
#pragma once

#include "reverse/pdm2pcm.h"

namespace tesk {

/// Runs what the settings ask for and prints its own closing lines. Nothing is written before everything that can fail
/// beforehand has succeeded; a failed run leaves an existing output as it was, a stopped one closes the file with what
/// it has.
///
/// @return  DSD_ERROR when the source or its rate is of no use, DSD_ERROR_OUTPUT when nothing can be written,
///          kHostStopped
PDM_ENCODING_STATUS convertPdmToPcm(const ReverseSettings& settings, const ReverseEnvironment& environment);

} // namespace tesk
