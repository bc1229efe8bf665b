// The layout of the help: spellings in one column, words in another.
#pragma once

#include "engine/base/reporter.h"

#include <string>
#include <vector>

namespace tesk {

/// Prints one option.
/// @param names     its spellings, at least one
/// @param argument  what follows the last of them; may be empty
/// @param text      broken at blanks and at its own line feeds
void printHelpRow(const std::vector<std::string>& names, const std::string& argument, const std::string& text,
                  Reporter& report);

} // namespace tesk
