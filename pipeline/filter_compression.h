// The oversampling filter as a polynomial, when the options ask for it.
#pragma once

#include "filter/filter_plan.h"
#include "pipeline/pcm2pdm.h"

#include <vector>

namespace tesk {

/// Whether one of the options asks for it.
bool compressesFilter(const ConversionSettings& settings);

/// Fits or loads the polynomial, reports and saves it as asked, and puts its taps in the place of the designed ones. A
/// fit that is too coarse leaves them, with an alert. Fails when a file cannot be loaded or saved.
Status compressFilter(const Pcm2pdm& job, const FilterPlan& plan, std::vector<double>& taps);

} // namespace tesk
