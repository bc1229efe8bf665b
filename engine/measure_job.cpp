#include "engine/measure_job.h"

#include "analysis/loudness.h"
#include "engine/batch/batch_inputs.h"
#include "engine/forward_job.h"
#include "input/open_pcm.h"

#include <cstdio>
#include <new>

namespace tesk {
namespace {

constexpr const char* kHeader = "file,channels,sample_rate,frames,integrated_lufs,lra_lu,true_peak_dbfs,plr_lu\n";

/// Leaves out what the loader reports when all is well: standard output has the table.
class WarningsOnly final : public Reporter {
public:
    explicit WarningsOnly(Reporter& next) : next_(next) {}

protected:
    void write(Kind kind, std::string_view text) override
    {
        if (kind != Kind::out) next_.pass(kind, text);
    }

private:
    Reporter& next_;
};

std::string csvField(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
    return quoted + "\"";
}

PDM_ENCODING_STATUS load(const std::string& path, const LoadContext& context, PcmRecording& recording, Reporter& report)
{
    std::string error;
    const Status status = open_pcm(path, context, recording, error);
    if (status || status.status() == kHostStopped) return status.status();
    if (!error.empty()) report.error("%s\n", error.c_str());
    report.error("[measure] cannot read: %s\n", path.c_str());
    return status.status();
}

PDM_ENCODING_STATUS measure(const std::string& path, const LoadContext& context, Reporter& report)
{
    PcmRecording recording;
    if (const auto status = load(path, context, recording, report); status != DSD_SUCCESS) return status;
    const Signal& signal = recording.signal;
    std::vector<const double*> channels;
    for (std::uint32_t c = 0; c < signal.channels(); ++c) channels.push_back(signal.channel(c));
    const auto measured = analysis::measureLoudness(channels, signal.frames(), recording.info.sampleRate, context.stop);
    if (!measured) return measured.status();
    if (!*measured) {
        report.error("[measure] %s: too short (<400 ms) or silent, nothing to measure\n", path.c_str());
        return DSD_SUCCESS;
    }
    const analysis::Loudness& loudness = **measured;
    report.result(format("%s,%d,%d,%lld,%.2f,%.2f,%.2f,%.2f\n", csvField(path).c_str(),
                         static_cast<int>(signal.channels()), static_cast<int>(recording.info.sampleRate),
                         static_cast<long long>(signal.frames()), loudness.integratedLufs, loudness.rangeLu,
                         loudness.truePeakDb, loudness.truePeakDb - loudness.integratedLufs));
    return DSD_SUCCESS;
}

} // namespace

int runMeasureJob(const ConversionSettings& settings, Reporter& report, StopFlag& stop)
{
    std::vector<BatchInput> inputs;
    std::vector<std::string> notes;
    std::string error;
    if (!expandInputs(settings.inputs, settings.recursive, {}, inputs, notes, error)) {
        report.error("Error : %s\n", error.c_str());
        return DSD_ERROR_INPUT;
    }
    for (const std::string& note : notes) report.notice("Warning: %s\n", note.c_str());
    WarningsOnly warnings(report);
    LoadContext context{warnings, stop};
    context.streamLoader = streamLoaderOf(settings, warnings);
    report.result(kHeader);
    PDM_ENCODING_STATUS first = DSD_SUCCESS;
    for (const BatchInput& input : inputs) {
        PDM_ENCODING_STATUS status = DSD_ERROR_INPUT;
        try {
            status = measure(input.path, context, report);
        } catch (const std::bad_alloc&) {
            report.error("Fatal: out of memory.\n[measure] cannot read: %s\n", input.path.c_str());
        }
        if (first == DSD_SUCCESS) first = status;
        if (status != kHostStopped) continue;
        stop.take(); // or it would end the host's next job
        report.error("[measure] stopped before the end of %s\n", input.path.c_str());
        return status;
    }
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return first;
    report.error("Error : the table cannot be written to standard output\n");
    return DSD_ERROR_WRITE;
}

} // namespace tesk
