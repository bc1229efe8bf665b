// The second parser of a forward conversion's command line: a CLI11 application made from the option table.
#pragma once

#include "engine/options/options.h"

#include <string>
#include <vector>

namespace tesk {

/// Fills the settings as parse_options() does: a line that the one accepts gives the same record through the
/// other. Help and version have a layout of their own, and so have some messages.
/// @return status 0, DSD_ERROR_UNSUPPORTED, or DSD_ERROR_USAGE where the line is rejected
ParseOutcome parse_options_cli11(const std::vector<std::string>& arguments, ConversionSettings& settings,
                                 Reporter& report);

} // namespace tesk
