#include "engine/reverse_run.h"

#include "engine/base/report.h"
#include "engine/base/reporter.h"
#include "engine/options/reverse_options.h"
#include "engine/process_state.h"
#include "pipeline/kernel/dispatch.h"
#include "platform/files.h"
#include "platform/process.h"
#include "reverse/process_values.h"
#include "reverse/reverse_job.h"

#include <cstdlib>

namespace tesk {
namespace {

std::string logPath(const ReverseSettings& settings)
{
    return settings.logPath.empty() ? format("pdm2pcm_%d.log", platform::processId()) : settings.logPath;
}

/// Whether the log would be written into the sound, before it or after it is read.
bool logIsNoOther(const ReverseSettings& settings, Reporter& report)
{
    const std::string& log = settings.logPath;
    if (log.empty() || (log != settings.outputPath && !platform::sameFile(log, settings.outputPath) &&
                        !platform::sameFile(log, settings.inputPath)))
        return true;
    report.error("Error: the log '%s' is the input or the output itself; name another file\n", log.c_str());
    return false;
}

/// The vector level of the DST decoder, with the line that tells it: once in the life of a process, but for runs
/// without vector code.
DstSimdLevel dstLevel(bool simd, Reporter& report)
{
    std::optional<DstSimdLevel>& known = reverseValues().dstLevel;
    if (simd && known) return *known;
    const DstSimdChoice choice = chooseDstSimd(platform::cpuFeatures(), std::getenv("TESK_DST_SIMD"), simd);
    if (!choice.refusal.empty()) report.notice("%s", choice.refusal.c_str());
    report.err("%s", choice.line.c_str());
    if (simd) known = choice.level;
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

    if (!logIsNoOther(settings, report)) return finish_status(DSD_ERROR);
    log_init(logPath(settings).c_str(), logFile);
    StopFlag stop(processState().host_stop_requested);
    const PDM_ENCODING_STATUS status = convertPdmToPcm(settings, {.report = report,
                                                                  .stop = stop,
                                                                  .pool = parallel::WorkerPool::instance(),
                                                                  .kernels = kernel::kernels(settings.simd),
                                                                  .dstLevel = dstLevel(settings.simd, report)});
    processState().run_result = status;
    log_close();
    return static_cast<int>(status);
}

} // namespace tesk
