// The plan's low-pass by the Parks-McClellan exchange.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/result.h"
#include "engine/base/stop_flag.h"
#include "filter/filter_plan.h"

#include <vector>

namespace tesk {

/// Designs a passband [0, passband] and a stopband [stopband, R/2], weighted 100 : 10^(A/20) with A = min(alpha, 180)
/// dB, and prints a line per step.
///
/// @return  [plan.taps] coefficients, symmetric, divided by the sum of their magnitudes: no input within ±1 leaves ±1,
///          and the DC gain lies at or below 1. Otherwise DSD_ERROR_ASSERT, with the reason printed, when the passband
///          ends above the stopband's beginning; kHostStopped; or the status of the exchange (filter/remez.h).
///
/// A large alpha with few taps leaves all the freedom to the stopband: the passband then falls long before its edge.
Result<std::vector<double>, PDM_ENCODING_STATUS> designRemezFilter(const FilterPlan& plan, Reporter& reporter,
                                                                   StopFlag& stop);

} // namespace tesk
