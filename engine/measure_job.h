// Loudness of recordings as rows of a table (--measure).
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "engine/base/stop_flag.h"

namespace tesk {

/// Prints a CSV header and a row per input on standard output: integrated loudness, loudness range, largest true peak,
/// and that peak over the loudness. Inputs may be folders and patterns, as in a batch. Nothing but warnings and errors
/// goes to standard error. A path with a comma, a quote or a line feed is quoted (RFC 4180).
///
/// @return  DSD_ERROR_INPUT when an input could not be read, after the rows of the others; DSD_ERROR_WRITE when the
///          table could not be written, kHostStopped after a stop
int runMeasureJob(const ConversionSettings& settings, Reporter& report, StopFlag& stop);

} // namespace tesk
