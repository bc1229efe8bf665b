#include "engine/reverse_run.h"

#include "engine/base/report.h"
#include "engine/base/reporter.h"
#include "engine/options/reverse_options.h"
#include "engine/process_state.h"
#include "pipeline/kernel/dispatch.h"
#include "platform/process.h"
#include "reverse/reverse_job.h"

#include <cstdlib>

namespace tesk {
namespace {

std::string logPath(const ReverseSettings& settings)
{
    return settings.logPath.empty() ? format("pdm2pcm_%d.log", platform::processId()) : settings.logPath;
}

/// The vector level of the DST decoder, with the line that tells it.
DstSimdLevel dstLevel(Reporter& report)
{
    const DstSimdChoice choice = chooseDstSimd(platform::cpuFeatures(), std::getenv("TESK_DST_SIMD"), true);
    if (!choice.refusal.empty()) report.notice("%s", choice.refusal.c_str());
    report.err("%s", choice.line.c_str());
    return choice.level;
}

} // namespace

int runReverse(const std::vector<std::string>& arguments)
{
    LogReporter report;
    ReverseSettings settings;
    const int parsed = parseReverse(arguments, settings, report);
    if (settings.help) printReverseHelp(report);
    if (settings.help || parsed != 0) return finish_status(parsed);

    log_init(logPath(settings).c_str(), logFile);
    StopFlag stop(processState().host_stop_requested);
    const PDM_ENCODING_STATUS status = convertPdmToPcm(settings, {.report = report,
                                                                  .stop = stop,
                                                                  .pool = parallel::WorkerPool::instance(),
                                                                  .kernels = kernel::kernels(true),
                                                                  .dstLevel = dstLevel(report)});
    processState().run_result = status;
    log_close();
    return static_cast<int>(status);
}

} // namespace tesk
