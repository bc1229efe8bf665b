// One command line through both parsers, one argument per line of the input: they must agree.
#include "engine/base/status.h"
#include "engine/options/cli11_application.h"
#include "fuzz/command_line.h"

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    auto arguments = commandLine(data, size);
    std::erase(arguments, "--cli-v2"); // would send the first line to the second parser

    tesk::ConversionSettings first, second;
    tesk::CollectingReporter report, secondReport;
    const auto loop = tesk::parse_options(arguments, first, report);
    const auto application = tesk::parse_options_cli11(arguments, second, secondReport);
    const bool rejected = loop.status == kCommandLineRejected;
    if (application.status != (rejected ? int{DSD_ERROR_USAGE} : loop.status)) std::abort();
    if (application.finished != loop.finished) std::abort();
    if (application.status != 0 && secondReport.text.empty()) std::abort();
    const bool comparable = loop.status == 0 || loop.status == DSD_ERROR_UNSUPPORTED;
    if (comparable && !(first == second)) std::abort();
    return 0;
}
