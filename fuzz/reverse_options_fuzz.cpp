// A command line of the way back to PCM, one argument per line of the input.
#include "engine/base/status.h"
#include "engine/options/reverse_options.h"
#include "fuzz/command_line.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto arguments = commandLine(data, size);
    tesk::ReverseSettings settings;
    tesk::CollectingReporter report;
    const int status = tesk::parseReverse(arguments, settings, report);
    const bool usable = settings.help || !settings.inputPath.empty();
    if ((status != 0) == report.text.empty() || (status == 0 && !usable)) std::abort();
    return 0;
}
