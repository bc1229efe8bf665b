#include "engine/options/help_rows.h"
#include "engine/options/help_topics.h"
#include "engine/options/option_table.h"
#include "engine/options/options.h"

namespace tesk {
namespace {

void printRow(const Option& option, Reporter& report)
{
    std::vector<std::string> names;
    for (const char* name : option.names)
        if (name) names.emplace_back(name);
    printHelpRow(names, option.argument, descriptionText(option), report);
}

void printExitStatuses(Reporter& report)
{
    report.out("\n%-20s\n", kExitStatusHeading);
    const auto row = [&](const char* status, const char* text) { report.out("  %-25s\t%s\n", status, text); };
    row(" 0", "if OK (a real conversion finished).");
    row(" 1", "if the command line was rejected (unknown option, missing/invalid value, unsupported sample rate, "
              "missing output file) or the conversion failed,");
    row(" >128", "if a processing step returned a negative DSD_ERROR code — the shell sees 256+code "
                 "(e.g. -1 → 255, -23 → 233, Remez did not converge).");
}

} // namespace

void printHelp(Reporter& report, std::string_view topic)
{
    if (topic.empty()) {
        report.out("%-20s\n", versionBanner().c_str());
        report.out("%-20s\n", "Usage : -i INPUT [options] OUTPUT");
    }
    for (const OptionGroup& group : optionGroups()) {
        if (!isAbout(plainHeading(group.heading), topic)) continue;
        report.out("\n%-20s\n", group.heading);
        for (const Option& option : group.options) printRow(option, report);
    }
    if (isAbout(plainHeading(kExitStatusHeading), topic)) printExitStatuses(report);
}

void printIntroduction(Reporter& report)
{
    report.closing("Turns PCM recordings into one-bit DSD files, and DSD files back into PCM.\n"
                   "  tesk -i song.flac song.dsf                          DSD64\n"
                   "  tesk -i loud.wav loud.dsf -os 128 --headroom auto   DSD128, without overload\n"
                   "  tesk -i song.dsf song.flac -b 24 --reverse          PCM, 24 bit\n"
                   "tesk --help shows all options, tesk --help GROUP (metadata, fir ...) some.\n");
}

} // namespace tesk
