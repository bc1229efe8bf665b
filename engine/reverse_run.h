// A run that converts one-bit sound back to PCM.
#pragma once

#include <string>
#include <vector>

namespace tesk {

/// @param arguments  the command line without the program's name
/// @return           what the exported function answers
int runReverse(const std::vector<std::string>& arguments);

} // namespace tesk
