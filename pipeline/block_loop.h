// The loop over all blocks of a job.
#pragma once

#include "engine/base/progress.h"
#include "pipeline/conversion_block.h"

namespace tesk {

/// How a job shows its progress: for programs with --gui, else on a terminal, and never in pipe mode.
Progress::Shown shownProgress(const ConversionSettings& settings);

/// Converts every block in order. Ends early at a stop request, which it takes, and at the first failure; the job's
/// status then holds it.
void runBlockLoop(Pcm2pdm& job, ConversionBlockState& state);

} // namespace tesk
