#include "platform/process.h"

#include "platform/terminal.h"

#include <unistd.h>

namespace tesk::platform {

int processId() { return static_cast<int>(getpid()); }

void rebindStandardStreams() {}

void useUtf8Console() {}

bool isTerminal(std::FILE* stream) { return isatty(fileno(stream)) == 1; }

} // namespace tesk::platform
