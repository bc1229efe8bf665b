#include "engine/forward_run.h"

#include "effect/stage_registry.h"
#include "engine/base/report.h"
#include "engine/base/reporter.h"
#include "engine/batch_job.h"
#include "engine/forward_job.h"
#include "engine/measure_job.h"
#include "engine/options/help_topics.h"
#include "engine/options/options.h"
#include "engine/options/preset_files.h"
#include "engine/process_state.h"
#include "pipeline/kernel/dispatch.h"

#include <algorithm>

namespace tesk {
namespace {

/// Refuses DSD files before anything is parsed; looks at the values of -i alone, never at the output's name. In a batch
/// such an input fails as an item.
bool refusesDsdInputs(const std::vector<std::string>& arguments, Reporter& report)
{
    if (asksForBatch(arguments)) return false;
    for (std::size_t i = 0; i + 1 < arguments.size(); ++i)
        if ((arguments[i] == "-i" || arguments[i] == "--input") && refusesDsdInput(arguments[i + 1], report))
            return true;
    return false;
}

/// The stages by name, behind the help of the options.
void printStages(Reporter& report)
{
    report.out("\n%-20s\n", kStagesHeading);
    for (const auto& stage : p2p::effect::stageRegistry()) report.out("  %-25s\t%s\n", stage.name, stage.usage);
}

bool asksForHelp(const std::vector<std::string>& arguments)
{
    return std::any_of(arguments.begin(), arguments.end(),
                       [](const auto& word) { return word == "-h" || word == "--help"; });
}

int run(const ConversionSettings& settings, Reporter& report)
{
    ProcessState& state = processState();
    if (!settings.quiet) report.line("SIMD: ", "%s\n", kernel::kernels(settings.simd).level);
    log_auto(settings.logRequested || settings.quiet, settings.logPath, settings.quiet ? logSilent : settings.logMode);
    StopFlag stop(state.host_stop_requested);
    const int status = settings.batch ? runBatchJob(settings, report, stop)
                                      : runForwardJob(settings, report, stop, shownProgress(settings), true);
    state.run_result = status;
    log_close();
    // A truncated output is fatal: a process that is the engine's own ends with it.
    return status == DSD_ERROR_ASSERT ? finish_status(status) : status;
}

} // namespace

int runForward(const std::vector<std::string>& arguments)
{
    LogReporter report;
    if (refusesDsdInputs(arguments, report)) return finish_status(kCommandLineRejected);
    if (typedWords(arguments).empty()) {
        report.closing("%-20s\tNo input files specified.\n", "Report");
        printIntroduction(report);
        return finish_status(kCommandLineRejected);
    }
    ConversionSettings settings;
    const ParseOutcome parsed = parse_options(arguments, settings, report);
    if (parsed.finished && !settings.presetList) processState().pending_exit_code.store(0); // help and version alone
    if (parsed.finished && asksForHelp(arguments) && isAbout(kStagesHeading, helpTopic(arguments))) printStages(report);
    if (parsed.finished || parsed.status != 0) return finish_status(parsed.status);
    if (!settings.presetSavePath.empty()) {
        if (!savePresetFile(settings.presetSavePath, settings, report)) return finish_status(DSD_ERROR_PRESET);
        if (settings.inputs.empty()) return finish_status(DSD_SUCCESS); // that was all
    }
    if (!settings.measure) return run(settings, report);
    ProcessState& state = processState();
    StopFlag stop(state.host_stop_requested);
    return state.run_result = runMeasureJob(settings, report, stop);
}

} // namespace tesk
