#include "engine/options/messages.h"

#include <algorithm>
#include <array>

namespace tesk {
namespace {

constexpr std::array<std::string_view, 3> kPlaceholders = {"%d", "%f", "%s"};

/// " (low-high)" where both bounds are known.
std::string rangeSuffix(const Option& option)
{
    const std::string range = rangeText(option);
    return range.empty() ? range : " (" + range + ")";
}

/// "Error : --x needs ..." after the kind of value.
std::string needsText(const Option& option)
{
    std::string text = std::string("Error : ") + option.longName() + " needs ";
    switch (option.kind) {
    case ValueKind::integer: text += "an integer value" + rangeSuffix(option); break;
    case ValueKind::number: text += "a numeric value" + rangeSuffix(option); break;
    case ValueKind::file: text += "a file name"; break;
    case ValueKind::text: text += "a value"; break;
    case ValueKind::flag: text += "a value"; break;
    case ValueKind::word:
        for (const Choice& choice : option.choices) {
            if (&choice != &option.choices.front()) text += '|';
            text += choice.word;
        }
        break;
    }
    return text + ".\n";
}

/// A text that names the value it was given cannot say that none was given.
bool standsAlone(const char* text)
{
    if (!text) return false;
    for (const std::string_view placeholder : kPlaceholders)
        if (std::string_view(text).find(placeholder) != std::string_view::npos) return false;
    return true;
}

} // namespace

std::string missingText(const Option& option)
{
    if (option.messages.missing) return option.messages.missing;
    if (option.messages.notNumber) return option.messages.notNumber;
    return standsAlone(option.messages.invalid) ? option.messages.invalid : needsText(option);
}

std::string notNumberText(const Option& option)
{
    if (option.messages.notNumber) return option.messages.notNumber;
    return standsAlone(option.messages.invalid) ? option.messages.invalid : needsText(option);
}

std::string invalidText(const Option& option)
{
    return option.messages.invalid ? option.messages.invalid : notNumberText(option);
}

std::string filled(std::string_view text, std::string_view value)
{
    std::string out(text);
    std::size_t at = std::string::npos;
    for (const std::string_view placeholder : kPlaceholders) at = std::min(at, out.find(placeholder));
    if (at != std::string::npos) out.replace(at, 2, value);
    if (!out.ends_with('\n')) out += '\n';
    return out;
}

} // namespace tesk
