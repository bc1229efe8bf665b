// A batch as the entry runs it: from the settings to a plan, and every item through the forward path.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "engine/base/stop_flag.h"

namespace tesk {

/// Whether the path looks like DSD, which the forward mode does not take; says so.
bool refusesDsdInput(const std::string& input, Reporter& report);

/// Converts every input of the settings and prints the sum. Nothing is converted when the plan as a whole cannot be:
/// an input or pattern that is of no use, two items with one output, an output directory that cannot be made.
/// @return 0, kCommandLineRejected, DSD_ERROR_OUTPUT, or what runBatch() answers
int runBatchJob(const ConversionSettings& settings, Reporter& report, StopFlag& stop);

} // namespace tesk
