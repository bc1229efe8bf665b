// One forward conversion as the entry runs it, alone or in a batch: the job, and the lines that close it.
#pragma once

#include "engine/base/progress.h"
#include "engine/base/settings.h"
#include "pipeline/pcm2pdm.h"

namespace tesk {

/// How a run shows its progress: for programs with --gui, else on a terminal, and never in pipe mode.
Progress::Shown shownProgress(const ConversionSettings& settings);

/// Reads what the built-in readers do not, by the libraries that the settings, the environment or the installation
/// name. `report` outlives it.
StreamLoader streamLoaderOf(const ConversionSettings& settings, Reporter& report);

/// Converts settings.inputs[0] and prints how it ended; answers the job's status. Nothing outlives the call but the
/// process's workers, so several may run at once, each with a reporter and a stop flag of its own.
///
/// @param mayAsk  whether a person may be asked for tags that the output cannot do without
PDM_ENCODING_STATUS runForwardJob(const ConversionSettings& settings, Reporter& report, StopFlag& stop,
                                  const Progress::Shown& progress, bool mayAsk);

} // namespace tesk
