// The texts of a rejected option: the row's own, else one made from the row after the common pattern.
#pragma once

#include "engine/options/option_table.h"

#include <string>
#include <string_view>

namespace tesk {

std::string missingText(const Option& option);
std::string notNumberText(const Option& option);
std::string invalidText(const Option& option);

/// The text with `value` in place of its first "%d", "%f" or "%s", ended by a line feed.
std::string filled(std::string_view text, std::string_view value);

} // namespace tesk
