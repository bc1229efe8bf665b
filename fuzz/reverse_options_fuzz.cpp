// A command line of the way back to PCM, one argument per line of the input.
#include "engine/base/status.h"
#include "engine/options/reverse_options.h"

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
    tesk::ReverseSettings settings;
    tesk::CollectingReporter report;
    const int status = tesk::parseReverse(arguments, settings, report);
    const bool usable = settings.help || !settings.inputPath.empty();
    if ((status != 0) == report.text.empty() || (status == 0 && !usable)) std::abort();
    return 0;
}
