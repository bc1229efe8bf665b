// Whether a stream is a person's terminal.
#pragma once

#include <cstdio>

namespace tesk::platform {

bool isTerminal(std::FILE* stream);

} // namespace tesk::platform
