// Runs a command line through the parser and keeps everything that came of it.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "engine/base/status.h"
#include "engine/options/options.h"

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

/// The same with an input and an output behind the options.
inline Parsed parseOptionsOnly(Line options)
{
    options.insert(options.end(), {"-i", "in.wav", "out.dsf"});
    return parse(options);
}

} // namespace tesk::test
