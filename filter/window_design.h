// The window method: a desired response on a frequency grid, its inverse transform, a window.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/result.h"
#include "engine/base/stop_flag.h"
#include "filter/filter_plan.h"

#include <vector>

namespace tesk {

/// Designs the plan's low-pass and prints a line per step.
///
/// @return  [plan.taps] coefficients, gain about 1 at DC, largest at index taps/2; empty when the plan's rate is 0.
///          DSD_ERROR_ASSERT, with the reason printed, when the stopband does not begin above the passband;
///          kHostStopped when a stop request is waiting after a step (the request stays for the caller to take).
///
/// Coefficient k > 0 mirrors coefficient taps − k before the window, while windows mirror about (taps − 1)/2: half a
/// sample of asymmetry that is meant to stay. Any thread count gives the same bits.
Result<std::vector<double>, PDM_ENCODING_STATUS> designWindowFilter(const FilterPlan& plan, Reporter& reporter,
                                                                    StopFlag& stop);

} // namespace tesk
