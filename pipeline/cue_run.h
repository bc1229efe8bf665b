// One conversion per track of a CUE sheet, or one for all of them.
#pragma once

#include "pipeline/convert.h"

namespace tesk {

/// Converts the tracks of the sheet that the settings name, each into a file of its own. With --cue-continuous they
/// are one stream, cut at the borders of the container that are nearest to the tracks' beginnings; else each is a
/// conversion of its own. Ends with the first track that fails; the ones before it stay.
JobResult convertCueTracks(const ConversionSettings& settings, const JobEnvironment& environment);

} // namespace tesk
