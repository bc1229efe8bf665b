// A command line, one argument per line of the input.
#include "engine/base/status.h"
#include "engine/options/options.h"
#include "fuzz/command_line.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto arguments = commandLine(data, size);
    tesk::ConversionSettings settings;
    tesk::CollectingReporter report;
    const auto outcome = tesk::parse_options(arguments, settings, report);
    const bool known = outcome.status == 0 || outcome.status == kCommandLineRejected ||
                       outcome.status == DSD_ERROR_UNSUPPORTED || outcome.status == DSD_ERROR_USAGE ||
                       outcome.status == DSD_ERROR_PRESET;
    if (!known || (outcome.status != 0 && report.text.empty())) std::abort();
    return 0;
}
