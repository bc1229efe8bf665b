// The command line of a forward conversion: parsing, version banner, help.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "engine/base/status.h"

#include <string>
#include <string_view>
#include <vector>

namespace tesk {

struct ParseOutcome {
    int status = 0;        ///< 0, kCommandLineRejected, or DSD_ERROR_UNSUPPORTED for what is not built yet
    bool finished = false; ///< help or version was printed: the run ends here with status 0
};

/// Fills the settings from a command line without the program's name. The first error ends the parse
/// with its text printed; the settings are then of no use. Options that are known but not built are
/// named, all of them, once the whole line has passed every check. No arguments set nothing.
ParseOutcome parse_options(const std::vector<std::string>& arguments, ConversionSettings& settings, Reporter& report);

/// "Tesk Engine 1.0.0 ..."
std::string versionBanner();

void printHelp(Reporter& report);

} // namespace tesk
