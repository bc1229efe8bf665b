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
    int status = 0;        ///< 0, kCommandLineRejected, or DSD_ERROR_UNSUPPORTED for what is not built yet;
                           ///< DSD_ERROR_USAGE where the second parser rejected the line
    bool finished = false; ///< help or version was printed: the run ends here with status 0
};

/// Fills the settings from a command line without the program's name. The first error ends the parse
/// with its text printed; the settings are then of no use. Options that are known but not built are
/// named, all of them, once the whole line has passed every check. No arguments set nothing. A line with
/// "--cli-v2" anywhere is read by parse_options_cli11() instead.
ParseOutcome parse_options(const std::vector<std::string>& arguments, ConversionSettings& settings, Reporter& report);

/// Whether "--batch" stands anywhere on the line, be it as another option's value.
bool asksForBatch(const std::vector<std::string>& arguments);

/// Marks what decides whether words without a dash are inputs, wherever on the line it stands: a batch, a measurement.
void settlePlainWords(const std::vector<std::string>& arguments, ConversionSettings& settings);

/// "Tesk Engine 1.0.0 ..."
std::string versionBanner();

/// All of the help, or the groups of options and the exit statuses whose heading is about the topic.
void printHelp(Reporter& report, std::string_view topic = {});

/// What the program does, in a few lines for a command line without a word; no quiet mode hides it.
void printIntroduction(Reporter& report);

} // namespace tesk
