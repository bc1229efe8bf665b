#include "engine/options/option_table.h"
#include "engine/options/options.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::size_t kNameWidth = 25;
constexpr std::size_t kTextWidth = 72; // the text starts in column 32

/// The text in lines of at most kTextWidth, broken at blanks and at its own line feeds.
std::vector<std::string> wrapped(const std::string& text)
{
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = std::min(text.find('\n', start), text.size());
        if (end - start > kTextWidth) {
            const std::size_t blank = text.rfind(' ', start + kTextWidth);
            if (blank != std::string::npos && blank > start) end = blank;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

/// The spellings with the argument behind the last; in one cell when they fit, else one per line.
std::vector<std::string> nameCells(const Option& option)
{
    std::vector<std::string> cells;
    for (const char* name : option.names)
        if (name) cells.emplace_back(name);
    if (option.takesValue()) cells.back().append(" ").append(option.argument);
    std::string joined = cells.front();
    for (std::size_t i = 1; i < cells.size(); ++i) joined += ", " + cells[i];
    if (joined.size() <= kNameWidth) return {joined};
    for (std::size_t i = 0; i + 1 < cells.size(); ++i) cells[i] += ',';
    return cells;
}

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
    const auto cells = nameCells(option);
    const auto lines = wrapped(description(option));
    for (std::size_t i = 0; i < std::max(cells.size(), lines.size()); ++i) {
        const char* cell = i < cells.size() ? cells[i].c_str() : "";
        const char* line = i < lines.size() ? lines[i].c_str() : "";
        if (i == 0)
            report.out("  %-25s\t%s\n", cell, line);
        else
            report.out("         %-17s\t%s\n", cell, line);
    }
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
