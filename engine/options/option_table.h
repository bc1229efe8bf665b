// The option vocabulary as data: an option exists once, as a row here. The parser, the help text and
// whatever else speaks of options (completion, manual page, preset keys) walk these rows.
#pragma once

#include "engine/base/settings.h"

#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tesk {

struct OptionUse;

enum class ValueKind { flag, integer, number, word, text, file };

/// Where a value goes. Rows with several values have none and an `apply` of their own.
using Destination = std::variant<std::monostate, bool ConversionSettings::*, int ConversionSettings::*,
                                 char ConversionSettings::*, double ConversionSettings::*,
                                 std::string ConversionSettings::*, std::vector<std::string> ConversionSettings::*,
                                 std::vector<double> ConversionSettings::*, std::vector<EqBand> ConversionSettings::*,
                                 std::optional<int> ConversionSettings::*, std::optional<double> ConversionSettings::*,
                                 std::optional<std::string> MetadataRecord::*, std::optional<int> MetadataRecord::*>;

/// A closed interval unless a bound is marked as excluded.
struct Range {
    double minimum = -std::numeric_limits<double>::infinity();
    double maximum = std::numeric_limits<double>::infinity();
    bool aboveMinimum = false, belowMaximum = false;

    constexpr bool contains(double value) const
    {
        return (aboveMinimum ? value > minimum : value >= minimum) &&
               (belowMaximum ? value < maximum : value <= maximum);
    }
};

/// A word an option takes, and what it stores in a numeric destination.
struct Choice {
    const char* word;
    int value;
    const char* unavailable = nullptr; ///< why this one choice cannot run yet
};

/// Own texts of a row; "%d", "%f" or "%s" stands for the value. A missing text is made from the row
/// (see messages.h).
struct Messages {
    const char* missing = nullptr;
    const char* notNumber = nullptr;
    const char* invalid = nullptr;  ///< outside the range, or a word that is no choice
    const char* tooLarge = nullptr; ///< integral, but beyond 32 bits
};

/// One option. `names` are all spellings, in the order the help shows them.
struct Option {
    const char* names[4] = {};
    const char* argument = ""; ///< its form in the help: "" none, "N" required, "[N]" optional
    ValueKind kind = ValueKind::flag;
    Destination destination{};
    bool ConversionSettings::*alsoSets = nullptr; ///< turned on whenever the option is given
    bool flagValue = true;                        ///< what a flag stores
    Range range{};
    bool (*accepts)(double) = nullptr; ///< a condition beyond the range
    const char* rangeNote = nullptr;   ///< words for both in the help
    std::span<const Choice> choices{}; ///< for numeric kinds: words accepted beside numbers
    std::optional<double> bareValue{}; ///< stored when an optional argument is left out
    const char* defaultNote = nullptr; ///< instead of the settings record's own default
    const char* help = "";             ///< a line feed forces a new help line
    Messages messages{};
    const char* unavailable = nullptr;   ///< null: built; otherwise why the option cannot run yet
    bool (*apply)(OptionUse&) = nullptr; ///< for unusual arguments; false after printing a message

    constexpr bool takesValue() const { return *argument != '\0'; }
    constexpr bool valueIsOptional() const { return *argument == '['; }
    /// The first spelling with two dashes, else the first.
    const char* longName() const;
};

struct OptionGroup {
    const char* heading;
    std::span<const Option> options;
};

/// All groups in the order of the help.
std::span<const OptionGroup> optionGroups();

/// The row of an exact, case-sensitive spelling; null when there is none.
const Option* findOption(std::string_view spelling);

/// Whether the option of that long name says which modulator runs: what says so last takes the place of the others.
bool choosesModulator(std::string_view longName);

/// The spelling nearest to a mistyped one; empty when none is near.
std::string nearestSpelling(std::string_view typed);

/// The same among other words.
std::string nearestWord(std::string_view typed, std::span<const std::string_view> words);

/// The default that the help shows, read from a fresh settings record; empty when the option is off by default.
std::string defaultText(const Option& option);

/// The range in words, empty when any value will do.
std::string rangeText(const Option& option);

/// What the help says of an option: its text, range and default, and what of it is not built yet.
std::string descriptionText(const Option& option);

} // namespace tesk
