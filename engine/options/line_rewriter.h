// Brings a command line into the form that the CLI11 application reads. CLI11 knows no names of one dash and
// several letters, and it would tell options from values by their look; here a required value is the next word
// whatever it looks like.
#pragma once

#include "engine/base/settings.h"
#include "engine/options/option_table.h"

#include <optional>
#include <string>
#include <vector>

namespace tesk {

enum class ValueCount {
    none,
    one, ///< required
    open ///< the row decides by the words that follow: optional values and lists
};

ValueCount valueCount(const Option& option);

/// The one name under which CLI11 knows the option: its long name, with a dash more where it has none of two.
std::string parserName(const Option& option);

/// Whether the option prints a text and ends the run, wherever it stands.
bool isInformation(const Option& option);

/// Every option under its parserName(). A required value is joined to it by "=", an open number of values
/// follows it and ends with "--". Values, the output and unknown options are marked (see unmarked()), so that
/// none of them looks like an option. A line that asks for information becomes that option alone.
/// @param before  the settings that the line will be added to: whether they name an output already
std::vector<std::string> rewriteLine(const std::vector<std::string>& arguments, const ConversionSettings& before);

/// The word as it was typed; empty for what was not typed but put in by CLI11.
std::optional<std::string> unmarked(const std::string& word);

} // namespace tesk
