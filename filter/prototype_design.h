// The oversampling low-pass by whichever method its plan names.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/result.h"
#include "engine/base/stop_flag.h"
#include "filter/filter_plan.h"

#include <vector>

namespace tesk {

/// Designs the filter and prints a line per step: by a window and then, when asked for, turned into minimum phase with
/// unit DC gain; or by the Remez exchange, where neither window nor taper nor minimum phase follows.
///
/// @return  [plan.taps] coefficients, empty when the plan's rate is 0; otherwise the status of the method
///          (filter/window_design.h, filter/remez_design.h), kHostStopped among them.
Result<std::vector<double>, PDM_ENCODING_STATUS> designPrototype(const FilterPlan& plan, Reporter& reporter,
                                                                 StopFlag& stop);

} // namespace tesk
