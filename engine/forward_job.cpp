#include "engine/forward_job.h"

#include "engine/base/report.h"
#include "engine/metadata_prompt.h"
#include "input/loaded/stream_loader.h"
#include "pipeline/cue_run.h"
#include "pipeline/dxd_run.h"
#include "pipeline/kernel/dispatch.h"
#include "pipeline/parallel/worker_pool.h"
#include "platform/terminal.h"

#include <cstdlib>

namespace tesk {
namespace {

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

StreamLoader streamLoaderOf(const ConversionSettings& settings, Reporter& report)
{
    return makeStreamLoader(decoderChoice(settings), report);
}

Progress::Shown shownProgress(const ConversionSettings& settings)
{
    Progress::Shown shown;
    shown.machineReadable = settings.gui && !settings.pipe;
    if (!settings.gui && !settings.pipe && log_mode() == logConsole && platform::isTerminal(stdout))
        shown.terminal = stdout;
    return shown;
}

PDM_ENCODING_STATUS runForwardJob(const ConversionSettings& settings, Reporter& report, StopFlag& stop,
                                  const Progress::Shown& progress, bool mayAsk)
{
    const auto ask = [&](MetadataRecord& record) {
        return prompt_dff_metadata(record, mayAsk ? standardTerminal(settings.gui) : PromptTerminal{}, report);
    };
    const JobEnvironment environment{.report = report,
                                     .stop = stop,
                                     .pool = parallel::WorkerPool::instance(),
                                     .kernels = kernel::kernels(settings.simd),
                                     .streamLoader = streamLoaderOf(settings, report),
                                     .completeMetadata = ask,
                                     .progress = progress};
    const JobResult result = convert(settings, environment);
    printClosingLines(result, settings.dxd ? "WRITE DXD" : "WRITE DSD", report);
    return result.status;
}

} // namespace tesk
