#include "engine/forward_run.h"

#include "effect/stage_registry.h"
#include "engine/base/paths.h"
#include "engine/base/report.h"
#include "engine/base/reporter.h"
#include "engine/metadata_prompt.h"
#include "engine/options/options.h"
#include "engine/process_state.h"
#include "input/loaded/stream_loader.h"
#include "pipeline/cue_run.h"
#include "pipeline/dxd_run.h"
#include "pipeline/kernel/dispatch.h"
#include "pipeline/parallel/worker_pool.h"

#include <algorithm>
#include <cstdlib>

namespace tesk {
namespace {

/// Refuses DSD files before anything is parsed; looks at the values of -i alone, never at the output's name.
bool refusesDsdInput(const std::vector<std::string>& arguments, Reporter& report)
{
    for (std::size_t i = 0; i + 1 < arguments.size(); ++i) {
        if (arguments[i] != "-i" && arguments[i] != "--input") continue;
        const std::string& input = arguments[i + 1];
        const std::string extension = fileExtension(input);
        if (extension != "dsf" && extension != "dff" && extension != "dst" && extension != "wsd") continue;
        report.error("Error: input '%s' looks like DSD, but forward mode only takes PCM (FLAC/WAV/AIFF).\n       For "
                     "PDM2PCM use: -i %s OUTPUT.wav --reverse\n",
                     input.c_str(), input.c_str());
        return true;
    }
    return false;
}

/// The stages by name, behind the help of the options.
void printStages(Reporter& report)
{
    report.out("\n%-20s\n", "Stages :");
    for (const auto& stage : p2p::effect::stageRegistry()) report.out("  %-25s\t%s\n", stage.name, stage.usage);
}

bool asksForHelp(const std::vector<std::string>& arguments)
{
    return std::any_of(arguments.begin(), arguments.end(),
                       [](const auto& word) { return word == "-h" || word == "--help"; });
}

std::string optionOrVariable(const std::string& option, const char* variable)
{
    if (!option.empty()) return option;
    const char* value = std::getenv(variable);
    return value ? value : "";
}

/// The decoders of run time that the user named, and the one that is installed unless "none" is asked for.
DecoderChoice decoderChoice(const ConversionSettings& settings)
{
    DecoderChoice choice{settings.extDecoderPath, settings.mediaLibraryPath, {}};
    const bool namedByOption = !choice.mediaLibrary.empty() || !(choice.plugin.empty() || choice.plugin == "none");
    if (!namedByOption) { // a named library counts more than any variable
        choice.plugin = optionOrVariable(choice.plugin, "TESK_EXT_DECODER");
        choice.mediaLibrary = optionOrVariable(choice.mediaLibrary, "TESK_MEDIA_LIBRARY");
    }
    if (choice.plugin == "none")
        choice.plugin.clear();
    else
        choice.installedPlugin = installedPlugin();
    return choice;
}

double megabytesPerSecond(std::uint64_t bytes, double seconds)
{
    return seconds > 0 ? static_cast<double>(bytes) * (1.0 / 1024) * (1.0 / 1024) / seconds : 0.0;
}

void printClosingLines(const JobResult& result, const char* written, Reporter& report)
{
    if (result.status != DSD_SUCCESS) {
        report.closing("\nError end. retun %d.\n", static_cast<int>(result.status));
        return;
    }
    const JobTiming& t = result.timing;
    report.out("%-20s\n", "\nEnd Conversion.");
    report.out("%-40s%-22s%s\n", "Report", "READ PCM", written);
    report.out("%-12s%-28s%-22zu%zu\n", "", "Data size:(Bytes)", static_cast<std::size_t>(t.bytesRead),
               static_cast<std::size_t>(t.bytesWritten));
    report.out("%-12s%-28s%-22.2f%.2f\n", "", "Speed:(MBytes/Sec)", megabytesPerSecond(t.bytesRead, t.readSeconds),
               megabytesPerSecond(t.bytesWritten, t.writeSeconds));
    report.out("%-12s%-28s%.4f\n", "", "Use all time:(Seconds)", t.totalSeconds);
    report.closing("\nend. retun %d.\n", 0);
    report.closing("%-20s\n", "\nOK.");
}

JobResult convert(const ConversionSettings& settings, const JobEnvironment& environment)
{
    if (settings.usesCueSheet()) return convertCueTracks(settings, environment);
    return settings.dxd ? convertPcmToDxd(settings, environment) : convertPcmToPdm(settings, environment);
}

} // namespace

int runForward(const std::vector<std::string>& arguments)
{
    LogReporter report;
    ProcessState& state = processState();
    if (refusesDsdInput(arguments, report)) return finish_status(kCommandLineRejected);
    ConversionSettings settings;
    const ParseOutcome parsed = parse_options(arguments, settings, report);
    if (parsed.finished) state.pending_exit_code.store(0);
    if (parsed.finished && asksForHelp(arguments)) printStages(report);
    if (parsed.finished || parsed.status != 0) return finish_status(parsed.status);
    if (arguments.empty()) {
        report.closing("%-20s\tNo input files specified.\n", "Report");
        return finish_status(kCommandLineRejected);
    }

    const kernel::KernelTable& kernels = kernel::kernels(settings.simd);
    report.line("SIMD: ", "%s\n", kernels.level);
    log_auto(settings.logRequested || settings.quiet, settings.logPath, settings.quiet ? logSilent : settings.logMode);
    StopFlag stop(state.host_stop_requested);
    const JobEnvironment environment{.report = report,
                                     .stop = stop,
                                     .pool = parallel::WorkerPool::instance(),
                                     .kernels = kernels,
                                     .streamLoader = makeStreamLoader(decoderChoice(settings), report),
                                     .completeMetadata = [&](MetadataRecord& record) {
                                         return prompt_dff_metadata(record, standardTerminal(settings.gui), report);
                                     }};
    const JobResult result = convert(settings, environment);
    state.run_result = result.status;
    printClosingLines(result, settings.dxd ? "WRITE DXD" : "WRITE DSD", report);
    log_close();
    // A truncated output is fatal: a process that is the engine's own ends with it.
    return result.status == DSD_ERROR_ASSERT ? finish_status(result.status) : static_cast<int>(result.status);
}

} // namespace tesk
