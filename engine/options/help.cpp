#include "engine/options/help_rows.h"
#include "engine/options/option_table.h"
#include "engine/options/options.h"

namespace tesk {
namespace {

std::string description(const Option& option)
{
    std::string text = option.help;
    std::string facts = rangeText(option);
    if (const std::string usual = defaultText(option); !usual.empty())
        facts.append(facts.empty() ? "default " : "; default ").append(usual);
    if (!facts.empty()) text += " (" + facts + ")";
    if (option.unavailable) text.append(text.ends_with('\n') ? "" : " ").append("[not in this version]");
    std::string waiting;
    for (const Choice& choice : option.choices)
        if (choice.unavailable) waiting.append(waiting.empty() ? " [" : ", ").append(choice.word);
    return waiting.empty() ? text : text + waiting + ": not in this version]";
}

void printRow(const Option& option, Reporter& report)
{
    std::vector<std::string> names;
    for (const char* name : option.names)
        if (name) names.emplace_back(name);
    printHelpRow(names, option.argument, description(option), report);
}

void printExitStatuses(Reporter& report)
{
    report.out("%-20s\n", "Exit status :");
    const auto row = [&](const char* status, const char* text) { report.out("  %-25s\t%s\n", status, text); };
    row(" 0", "if OK (a real conversion finished).");
    row(" 1", "if the command line was rejected (unknown option, missing/invalid value, unsupported sample rate, "
              "missing output file) or the conversion failed,");
    row(" >128", "if a processing step returned a negative DSD_ERROR code — the shell sees 256+code "
                 "(e.g. -1 → 255, -23 → 233, Remez did not converge).");
}

} // namespace

void printHelp(Reporter& report)
{
    report.out("%-20s\n", versionBanner().c_str());
    report.out("%-20s\n", "Usage : -i INPUT [options] OUTPUT");
    for (const OptionGroup& group : optionGroups()) {
        report.out("\n%-20s\n", group.heading);
        for (const Option& option : group.options) printRow(option, report);
    }
    report.out("\n");
    printExitStatuses(report);
}

} // namespace tesk
