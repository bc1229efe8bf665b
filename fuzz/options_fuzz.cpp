// A command line, one argument per line of the input.
#include "engine/base/status.h"
#include "engine/options/options.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::string> arguments;
    if (size > 0) arguments.emplace_back();
    for (std::size_t i = 0; i < size; ++i)
        if (data[i] == '\n')
            arguments.emplace_back();
        else
            arguments.back() += static_cast<char>(data[i]);
    tesk::ConversionSettings settings;
    tesk::CollectingReporter report;
    const auto outcome = tesk::parse_options(arguments, settings, report);
    const bool known = outcome.status == 0 || outcome.status == kCommandLineRejected ||
                       outcome.status == DSD_ERROR_UNSUPPORTED || outcome.status == DSD_ERROR_USAGE ||
                       outcome.status == DSD_ERROR_PRESET;
    if (!known || (outcome.status != 0 && report.text.empty())) std::abort();
    return 0;
}
