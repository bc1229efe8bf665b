#include "engine/options/help_rows.h"

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
std::vector<std::string> nameCells(std::vector<std::string> cells, const std::string& argument)
{
    if (!argument.empty()) cells.back().append(" ").append(argument);
    std::string joined = cells.front();
    for (std::size_t i = 1; i < cells.size(); ++i) joined += ", " + cells[i];
    if (joined.size() <= kNameWidth) return {joined};
    for (std::size_t i = 0; i + 1 < cells.size(); ++i) cells[i] += ',';
    return cells;
}

} // namespace

void printHelpRow(const std::vector<std::string>& names, const std::string& argument, const std::string& text,
                  Reporter& report)
{
    const auto cells = nameCells(names, argument);
    const auto lines = wrapped(text);
    for (std::size_t i = 0; i < std::max(cells.size(), lines.size()); ++i) {
        const char* cell = i < cells.size() ? cells[i].c_str() : "";
        const char* line = i < lines.size() ? lines[i].c_str() : "";
        if (i == 0)
            report.out("  %-25s\t%s\n", cell, line);
        else
            report.out("         %-17s\t%s\n", cell, line);
    }
}

} // namespace tesk
