// Numbers as text, in the C locale whatever the host's locale is.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tesk {

/// The whole text as a number, decimal, exponent or hexadecimal form; nothing for anything else, also not for
/// trailing text, an empty text, NaN or infinity.
std::optional<double> parseNumber(std::string_view text);

/// The same, when the value is integral and fits 32 bits ("1e2" is 100, "64.5" is nothing).
std::optional<int> parseInteger(std::string_view text);

} // namespace tesk
