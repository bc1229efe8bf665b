#include "engine/options/cli11_application.h"
#include "engine/options/cross_checks.h"
#include "engine/options/help_topics.h"
#include "engine/options/option_use.h"
#include "engine/options/options.h"
#include "engine/options/parse_steps.h"
#include "engine/options/preset_files.h"

#include <algorithm>
#include <optional>

namespace tesk {
namespace {

/// Prints help or version when the line asks for either, wherever it stands.
std::optional<ParseOutcome> printedInformation(const std::vector<std::string>& arguments, Reporter& report)
{
    for (const std::string& argument : arguments) {
        if (argument == "-h" || argument == "--help") return printHelpTopic(helpTopic(arguments), report);
        if (argument == "--ver" || argument == "--version") {
            report.line("Program", "%s\n", versionBanner().c_str());
            return ParseOutcome{0, true};
        }
    }
    return std::nullopt;
}

bool rejectUnknown(const std::string& argument, Reporter& report)
{
    report.error("Error : unfound %s options\n", argument.c_str());
    if (const std::string nearest = nearestSpelling(argument); !nearest.empty())
        report.error("        did you mean %s ?\n", nearest.c_str());
    return false;
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
        } else if (!takePlainWord(argument, settings, report)) {
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

ParseOutcome printHelpTopic(std::string_view topic, Reporter& report)
{
    const auto headings = helpHeadings();
    if (std::any_of(headings.begin(), headings.end(), [&](const auto& heading) { return isAbout(heading, topic); })) {
        printHelp(report, topic);
        return {0, true};
    }
    std::string text = "Error : --help knows no group '" + std::string(topic) + "'. Its groups :\n";
    for (const std::string& heading : headings) text += "  " + heading + "\n";
    report.error("%s", text.c_str());
    return {kCommandLineRejected, false};
}

bool takePlainWord(const std::string& word, ConversionSettings& settings, Reporter& report)
{
    if (word.size() > 1 && word.front() == '-') return rejectUnknown(word, report);
    const bool measured = settings.measure && settings.given.count("--input") == 0;
    if ((settings.batch || measured) && word != "-") { // outputs have names of their own, or there are none
        settings.inputs.push_back(word);
        return true;
    }
    if (!settings.outputPath.empty()) {
        report.error("Output is not unique, %s is excess parameters.\n", word.c_str());
        return false;
    }
    settings.outputPath = word;
    if (word == "-") settings.pipe = true;
    return true;
}

bool asksForBatch(const std::vector<std::string>& arguments)
{
    return std::find(arguments.begin(), arguments.end(), "--batch") != arguments.end();
}

void settlePlainWords(const std::vector<std::string>& arguments, ConversionSettings& settings)
{
    settings.batch = asksForBatch(arguments);
    settings.measure = std::find(arguments.begin(), arguments.end(), "--measure") != arguments.end();
}

bool applyWords(const std::vector<std::string>& words, ConversionSettings& settings, Reporter& report,
                std::vector<Unavailable>& unavailable)
{
    return parseLine(words, settings, report, unavailable);
}

ParseOutcome finishParse(ConversionSettings& settings, Reporter& report, std::vector<Unavailable>& unavailable)
{
    if (settings.presetList) {
        listPresets(report);
        return {0, true};
    }
    if (!loadChosenPresets(settings, unavailable, report)) return {DSD_ERROR_PRESET, false};
    if (!passesCrossChecks(settings, report, unavailable)) return {kCommandLineRejected, false};
    return refuse(unavailable, report);
}

ParseOutcome parse_options(const std::vector<std::string>& arguments, ConversionSettings& settings, Reporter& report)
{
    if (arguments.empty()) return {};
    settlePlainWords(arguments, settings);
    if (std::find(arguments.begin(), arguments.end(), "--cli-v2") != arguments.end()) {
        report.err("Using CLI v2 parser...\n");
        return parse_options_cli11(arguments, settings, report);
    }
    if (const auto information = printedInformation(arguments, report)) return *information;
    std::vector<Unavailable> unavailable;
    if (!parseLine(arguments, settings, report, unavailable)) return {kCommandLineRejected, false};
    return finishParse(settings, report, unavailable);
}

std::string versionBanner() { return "Tesk Engine " TESK_VERSION " (PCM to one-bit DSD conversion)"; }

} // namespace tesk
