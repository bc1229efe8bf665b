// Runs a command line through the parser and keeps everything that came of it.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "engine/base/status.h"
#include "engine/options/options.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace tesk::test {

using Line = std::vector<std::string>;

struct Parsed {
    ParseOutcome outcome;
    ConversionSettings settings;
    std::string text;
};

inline Parsed parse(const Line& line, const ConversionSettings& before = {})
{
    Parsed parsed;
    parsed.settings = before;
    CollectingReporter report;
    parsed.outcome = parse_options(line, parsed.settings, report);
    parsed.text = report.text;
    return parsed;
}

/// Words apart by single blanks: one at the end stands before an empty word.
inline Line words(const std::string& text)
{
    Line line(text.empty() ? 0 : 1);
    for (const char c : text) c == ' ' ? line.emplace_back() : line.back() += c;
    return line;
}

inline Parsed parse(const std::string& line) { return parse(words(line)); }

/// With an input and an output behind the options.
inline Parsed parseOptionsOnly(const std::string& options) { return parse(options + " -i in.wav out.dsf"); }

} // namespace tesk::test
