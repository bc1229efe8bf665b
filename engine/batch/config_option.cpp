#include "engine/batch/config_option.h"

#include "engine/base/reporter.h"
#include "engine/options/option_rows.h"
#include "engine/options/option_use.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <string_view>

namespace tesk {
namespace {

using Kind = JsonValue::Kind;

/// Where the batch itself says what is read and written.
constexpr std::array<std::string_view, 6> kFilesOfTheBatch = {"--input", "--format",    "--pipe",
                                                              "--cue",   "--poly-save", "--pdf-report"};

template <std::size_t N>
bool isOneOf(const std::array<std::string_view, N>& names, const Option& option)
{
    return std::find(names.begin(), names.end(), option.longName()) != names.end();
}

bool standsIn(std::span<const Option> rows, const Option& option)
{
    return std::any_of(rows.begin(), rows.end(), [&](const Option& row) { return &row == &option; });
}

bool isOfTheWholeBatch(const Option& option)
{
    return isOneOf(kFilesOfTheBatch, option) || standsIn(rows::presets(), option) ||
           standsIn(rows::diagnostics(), option) || standsIn(rows::information(), option) ||
           standsIn(rows::recording(), option) || standsIn(rows::inProcess(), option);
}

/// The full spelling that the key stands for; empty when there is none.
std::string spellingOf(const std::string& key, bool listGiven)
{
    const std::array candidates = key.starts_with('-') ? std::array{key, key}
                                  : listGiven          ? std::array{"-" + key, "--" + key}
                                                       : std::array{"--" + key, "-" + key};
    const auto known = std::find_if(candidates.begin(), candidates.end(),
                                    [](const std::string& spelling) { return findOption(spelling) != nullptr; });
    return known == candidates.end() ? std::string() : *known;
}

std::string unknownOption(const std::string& key)
{
    std::string text = "unknown option \"" + key + "\"";
    std::string nearest = nearestSpelling(key.starts_with('-') ? key : "--" + key);
    if (!key.starts_with('-')) nearest.erase(0, nearest.find_first_not_of('-'));
    return nearest.empty() ? text : text + "; did you mean \"" + nearest + "\"?";
}

std::string shortest(double value)
{
    char digits[32]; // 24 are the most that any double takes
    return std::string(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

/// A number or a text as a word; false for anything else.
bool takeWord(const JsonValue& value, std::vector<std::string>& words)
{
    switch (value.kind) {
    case Kind::integer: words.push_back(std::to_string(value.integer)); return true;
    case Kind::number: words.push_back(shortest(value.number)); return true;
    case Kind::text: words.push_back(value.text); return true;
    default: return false;
    }
}

bool takeWords(const JsonValue& list, std::vector<std::string>& words)
{
    return !list.items.empty() && std::all_of(list.items.begin(), list.items.end(),
                                              [&](const JsonValue& item) { return takeWord(item, words); });
}

/// What the parser says against the option with these values; empty when nothing.
std::string complaintAbout(const Option& option, const std::string& spelling, std::span<const std::string> values)
{
    ConversionSettings scratch;
    CollectingReporter report;
    std::vector<Unavailable> unavailable;
    ArgumentCursor cursor(values);
    OptionUse use{option, spelling, cursor, scratch, report, unavailable};
    if (!applyOption(use)) {
        while (report.text.ends_with('\n')) report.text.pop_back();
        return report.text.empty() ? "\"" + spelling + "\" cannot be read" : report.text;
    }
    if (!cursor.atEnd()) return "\"" + spelling + "\" has no use for \"" + *cursor.peek() + "\"";
    if (unavailable.empty()) return {};
    return unavailable.front().what + " is not available in this version: " + unavailable.front().reason;
}

/// Words for help and version count wherever they stand on a line.
bool endsTheRun(const std::string& word)
{
    const Option* option = findOption(word);
    return option && standsIn(rows::information(), *option);
}

std::string addUse(const std::string& spelling, const std::vector<std::string>& values, ConfigOption& out)
{
    for (const std::string& word : values)
        if (endsTheRun(word)) return "\"" + word + "\" can be no value";
    std::string complaint = complaintAbout(*out.option, spelling, values);
    if (!complaint.empty()) return complaint;
    out.words.push_back(spelling);
    out.words.insert(out.words.end(), values.begin(), values.end());
    return {};
}

std::string wrongType(const std::string& key)
{
    return "\"" + key + "\" takes true, false, a number, a text, or a list of such values";
}

/// Once for every list within the list, else once with all of it.
std::string addList(const std::string& key, const std::string& spelling, const JsonValue& value, ConfigOption& out)
{
    std::vector<const JsonValue*> uses;
    for (const JsonValue& item : value.items)
        if (item.kind == Kind::list) uses.push_back(&item);
    if (uses.empty())
        uses.push_back(&value);
    else if (uses.size() < value.items.size())
        return wrongType(key);
    for (const JsonValue* use : uses) {
        std::vector<std::string> values;
        if (!takeWords(*use, values)) return wrongType(key);
        if (std::string complaint = addUse(spelling, values, out); !complaint.empty()) return complaint;
    }
    return {};
}

} // namespace

std::string readConfigOption(const std::string& key, const JsonValue& value, ConfigOption& out)
{
    const std::string spelling = spellingOf(key, value.kind == Kind::list);
    if (spelling.empty()) return unknownOption(key);
    out = {findOption(spelling), {}};
    if (isOfTheWholeBatch(*out.option))
        return "\"" + key + "\" belongs to the whole batch; give it on the command line";
    if (value.kind == Kind::boolean && value.boolean) return addUse(spelling, {}, out);
    if (value.kind == Kind::boolean) {
        const bool needsValue = out.option->takesValue() && !out.option->valueIsOptional();
        return needsValue ? "\"" + key + "\" takes a value; leave it out where it is not to stand" : std::string();
    }
    if (value.kind == Kind::list) return addList(key, spelling, value, out);
    std::vector<std::string> values;
    if (!takeWord(value, values)) return wrongType(key);
    return addUse(spelling, values, out);
}

} // namespace tesk
