// The loop over all blocks of a job.
#pragma once

#include "pipeline/conversion_block.h"

namespace tesk {

/// Converts every block in order. Ends early at a stop request, which it takes, and at the first failure; the job's
/// status then holds it.
void runBlockLoop(Pcm2pdm& job, ConversionBlockState& state);

} // namespace tesk
