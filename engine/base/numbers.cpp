#include "engine/base/numbers.h"

#include "platform/locale.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace tesk {

std::optional<double> parseNumber(std::string_view text)
{
    if (text.empty() || std::isspace(static_cast<unsigned char>(text.front()))) return {};
    const platform::CLocale locale;
    const std::string copy(text);
    char* end = nullptr;
    const double value = std::strtod(copy.c_str(), &end);
    if (end != copy.c_str() + copy.size() || !std::isfinite(value)) return {};
    return value;
}

std::optional<int> parseInteger(std::string_view text)
{
    const auto value = parseNumber(text);
    if (!value || std::trunc(*value) != *value) return {};
    if (*value < std::numeric_limits<int>::min() || *value > std::numeric_limits<int>::max()) return {};
    return static_cast<int>(*value);
}

} // namespace tesk
