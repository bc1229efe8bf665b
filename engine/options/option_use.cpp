#include "engine/options/option_use.h"

#include "engine/base/numbers.h"
#include "engine/options/messages.h"

#include <algorithm>
#include <cmath>

namespace tesk {

std::optional<double> ArgumentCursor::takeNumber()
{
    const std::string* next = peek();
    const auto value = next ? parseNumber(*next) : std::nullopt;
    if (value) take();
    return value;
}

std::string ArgumentCursor::takeWord(std::initializer_list<std::string_view> words)
{
    const std::string* next = peek();
    if (!next || std::find(words.begin(), words.end(), *next) == words.end()) return {};
    return *take();
}

const std::string* ArgumentCursor::takeOptionalFile()
{
    const std::string* next = peek();
    if (!next || next->empty() || next->starts_with('-')) return nullptr;
    return lastReserved_ && arguments_.size() == 1 ? nullptr : take();
}

bool OptionUse::reject(std::string_view text, std::string_view value) const
{
    report.error("%s", filled(text, value).c_str());
    return false;
}

namespace {

void storeNumber(const Option& option, double value, ConversionSettings& settings)
{
    if (const auto* flag = std::get_if<bool ConversionSettings::*>(&option.destination))
        settings.** flag = value != 0;
    else if (const auto* integer = std::get_if<int ConversionSettings::*>(&option.destination))
        settings.** integer = static_cast<int>(value);
    else if (const auto* letter = std::get_if<char ConversionSettings::*>(&option.destination))
        settings.** letter = static_cast<char>(value);
    else if (const auto* number = std::get_if<double ConversionSettings::*>(&option.destination))
        settings.** number = value;
    else if (const auto* someInteger = std::get_if<std::optional<int> ConversionSettings::*>(&option.destination))
        settings.** someInteger = static_cast<int>(value);
    else if (const auto* someNumber = std::get_if<std::optional<double> ConversionSettings::*>(&option.destination))
        settings.** someNumber = value;
    else if (const auto* tag = std::get_if<std::optional<int> MetadataRecord::*>(&option.destination))
        settings.metadata.** tag = static_cast<int>(value);
}

void storeText(const Option& option, const std::string& value, ConversionSettings& settings)
{
    if (const auto* text = std::get_if<std::string ConversionSettings::*>(&option.destination))
        settings.** text = value;
    else if (const auto* list = std::get_if<std::vector<std::string> ConversionSettings::*>(&option.destination))
        (settings.**list).push_back(value);
    else if (const auto* tag = std::get_if<std::optional<std::string> MetadataRecord::*>(&option.destination))
        settings.metadata.** tag = value;
}

const Choice* findChoice(const Option& option, std::string_view word)
{
    for (const Choice& choice : option.choices)
        if (word == choice.word) return &choice;
    return nullptr;
}

void storeChoice(OptionUse& use, const Choice& choice)
{
    if (std::holds_alternative<std::string ConversionSettings::*>(use.option.destination))
        storeText(use.option, choice.word, use.settings);
    else
        storeNumber(use.option, choice.value, use.settings);
    if (choice.unavailable) use.unavailable.push_back({use.spelling + " " + choice.word, choice.unavailable});
}

/// An optional argument is there when the next word parses as one.
bool valueFollows(const OptionUse& use)
{
    const std::string* next = use.arguments.peek();
    if (!use.option.valueIsOptional() || !next) return next;
    return findChoice(use.option, *next) || (use.option.kind != ValueKind::word && parseNumber(*next));
}

bool storeBareValue(OptionUse& use)
{
    if (!use.option.bareValue) return true;
    if (use.option.kind != ValueKind::word) {
        storeNumber(use.option, *use.option.bareValue, use.settings);
        return true;
    }
    for (const Choice& choice : use.option.choices)
        if (choice.value == *use.option.bareValue) storeChoice(use, choice);
    return true;
}

bool applyNumber(OptionUse& use, const std::string& text)
{
    const Option& option = use.option;
    if (const Choice* choice = findChoice(option, text)) {
        storeChoice(use, *choice);
        return true;
    }
    const auto value = parseNumber(text);
    const bool integer = option.kind == ValueKind::integer;
    if (!value || (integer && std::trunc(*value) != *value)) return use.reject(notNumberText(option), text);
    if (integer && !parseInteger(text))
        return use.reject(option.messages.tooLarge ? option.messages.tooLarge : invalidText(option), text);
    if (!option.range.contains(*value) || (option.accepts && !option.accepts(*value)))
        return use.reject(invalidText(option), format(integer ? "%.0f" : "%f", *value));
    storeNumber(option, *value, use.settings);
    return true;
}

bool applyWord(OptionUse& use, const std::string& text)
{
    const Choice* choice = findChoice(use.option, text);
    if (!choice) return use.reject(invalidText(use.option), text);
    storeChoice(use, *choice);
    return true;
}

bool applyValue(OptionUse& use)
{
    if (!valueFollows(use)) {
        if (use.option.valueIsOptional()) return storeBareValue(use);
        return use.reject(missingText(use.option));
    }
    const std::string& text = *use.arguments.take();
    switch (use.option.kind) {
    case ValueKind::integer:
    case ValueKind::number: return applyNumber(use, text);
    case ValueKind::word: return applyWord(use, text);
    default: break;
    }
    if (text.empty() && use.option.kind == ValueKind::file) return use.reject(missingText(use.option));
    storeText(use.option, text, use.settings);
    return true;
}

} // namespace

bool applyOption(OptionUse& use)
{
    const Option& option = use.option;
    if (option.apply) {
        if (!option.apply(use)) return false;
    } else if (option.takesValue()) {
        if (!applyValue(use)) return false;
    } else {
        storeNumber(option, option.flagValue, use.settings);
    }
    if (option.alsoSets) use.settings.*option.alsoSets = true;
    if (option.unavailable) use.unavailable.push_back({use.spelling, option.unavailable});
    use.settings.given.insert(option.longName());
    return true;
}

} // namespace tesk
