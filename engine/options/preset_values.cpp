#include "engine/options/preset_values.h"

#include "engine/base/reporter.h"
#include "engine/options/messages.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tesk {
namespace {

using Kind = JsonValue::Kind;

std::span<const Choice> choicesOf(const PresetKey& key)
{
    const Option& option = *findOption(key.option);
    if (!key.choices.empty() || option.kind != ValueKind::word || key.kind == Kind::boolean) return key.choices;
    return option.choices;
}

/// The values in words, without their kind; empty when all of the kind will do.
std::string valuesText(const PresetKey& key)
{
    if (key.kind == Kind::boolean) return {};
    std::string text;
    for (const Choice& choice : choicesOf(key)) {
        text += text.empty() ? "" : ", ";
        text += key.kind == Kind::text ? format("\"%s\"", choice.word) : format("%d %s", choice.value, choice.word);
    }
    const Option& option = *findOption(key.option);
    if (text.empty()) text = rangeText(option);
    if (!text.empty() || !option.accepts) return text;
    text = filled(invalidText(option), ""); // the row says it there alone
    return text.substr(0, text.find('\n'));
}

} // namespace

bool hasKind(const JsonValue& value, Kind kind)
{
    if (value.kind == kind) return true;
    if (kind == Kind::number) return value.kind == Kind::integer;
    return kind == Kind::integer && value.kind == Kind::number && std::trunc(value.number) == value.number;
}

const char* kindText(Kind kind)
{
    switch (kind) {
    case Kind::null: return "null";
    case Kind::boolean: return "true or false";
    case Kind::integer: return "an integer";
    case Kind::number: return "a number";
    case Kind::text: return "a text";
    case Kind::list: return "a list";
    case Kind::object: return "an object";
    }
    return "";
}

bool isAllowed(const PresetKey& key, const JsonValue& value)
{
    if (key.kind == Kind::boolean) return true;
    const auto choices = choicesOf(key);
    if (!choices.empty())
        return std::any_of(choices.begin(), choices.end(), [&](const Choice& choice) {
            return key.kind == Kind::text ? value.text == choice.word : value.number == choice.value;
        });
    if (key.kind == Kind::integer && std::abs(value.number) > std::numeric_limits<int>::max()) return false;
    const Option& option = *findOption(key.option);
    return option.range.contains(value.number) && (!option.accepts || option.accepts(value.number));
}

bool isNotGiven(const PresetKey& key, const JsonValue& value)
{
    return (key.kind == Kind::integer || key.kind == Kind::number) && value.number == 0;
}

std::string presetValueText(const PresetKey& key)
{
    if (!key.option) return "0 or false";
    std::string values = valuesText(key);
    if (const JsonValue zero; isNotGiven(key, zero) && !isAllowed(key, zero))
        values += values.empty() ? "0: not given" : "; 0: not given";
    return std::string(kindText(key.kind)) + (values.empty() ? values : " (" + values + ")");
}

} // namespace tesk
