// The checks that need the whole command line: options against each other, format against extension.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "engine/options/option_use.h"

#include <vector>

namespace tesk {

/// Prints the first error and answers false, or completes the settings (pipe, DST by extension), prints
/// notes and warnings, and adds what the output asks for and this version cannot write.
bool passesCrossChecks(ConversionSettings& settings, Reporter& report, std::vector<Unavailable>& unavailable);

} // namespace tesk
