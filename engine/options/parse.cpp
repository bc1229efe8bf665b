#include "engine/options/cross_checks.h"
#include "engine/options/option_use.h"
#include "engine/options/options.h"

#include <algorithm>

namespace tesk {
namespace {

/// Prints help or version when the line asks for either, wherever it stands.
bool printedInformation(const std::vector<std::string>& arguments, Reporter& report)
{
    for (const std::string& argument : arguments) {
        if (argument == "-h" || argument == "--help") {
            printHelp(report);
            return true;
        }
        if (argument == "--ver" || argument == "--version") {
            report.line("Program", "%s\n", versionBanner().c_str());
            return true;
        }
    }
    return false;
}

bool rejectUnknown(const std::string& argument, Reporter& report)
{
    report.error("Error : unfound %s options\n", argument.c_str());
    if (const std::string nearest = nearestSpelling(argument); !nearest.empty())
        report.error("        did you mean %s ?\n", nearest.c_str());
    return false;
}

bool takeOutput(const std::string& argument, ConversionSettings& settings, Reporter& report)
{
    if (!settings.outputPath.empty()) {
        report.error("Output is not unique, %s is excess parameters.\n", argument.c_str());
        return false;
    }
    settings.outputPath = argument;
    if (argument == "-") settings.pipe = true;
    return true;
}

bool parseLine(const std::vector<std::string>& arguments, ConversionSettings& settings, Reporter& report,
               std::vector<Unavailable>& unavailable)
{
    ArgumentCursor cursor(arguments);
    while (!cursor.atEnd()) {
        const std::string& argument = *cursor.take();
        cursor.reserveLast(settings.outputPath.empty() && !settings.pipe);
        if (const Option* option = findOption(argument)) {
            OptionUse use{*option, argument, cursor, settings, report, unavailable};
            if (!applyOption(use)) return false;
        } else if (argument.size() > 1 && argument.front() == '-') {
            return rejectUnknown(argument, report);
        } else if (!takeOutput(argument, settings, report)) {
            return false;
        }
    }
    return true;
}

ParseOutcome refuse(const std::vector<Unavailable>& unavailable, Reporter& report)
{
    for (auto item = unavailable.begin(); item != unavailable.end(); ++item)
        if (std::find(unavailable.begin(), item, *item) == item)
            report.error("Error : %s is not available in this version: %s. Nothing was converted.\n",
                         item->what.c_str(), item->reason.c_str());
    return {unavailable.empty() ? DSD_SUCCESS : DSD_ERROR_UNSUPPORTED, false};
}

} // namespace

ParseOutcome parse_options(const std::vector<std::string>& arguments, ConversionSettings& settings, Reporter& report)
{
    if (arguments.empty()) return {};
    if (printedInformation(arguments, report)) return {0, true};
    std::vector<Unavailable> unavailable;
    if (!parseLine(arguments, settings, report, unavailable)) return {kCommandLineRejected, false};
    if (!passesCrossChecks(settings, report, unavailable)) return {kCommandLineRejected, false};
    return refuse(unavailable, report);
}

std::string versionBanner() { return "Tesk Engine " TESK_VERSION " (PCM to one-bit DSD conversion)"; }

} // namespace tesk
