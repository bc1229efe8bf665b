#include "pipeline/convert.h"

#include "input/tags/input_tags.h"
#include "pipeline/adaptive_choice.h"
#include "pipeline/block_loop.h"
#include "pipeline/chain_builder.h"
#include "pipeline/design_reports.h"
#include "pipeline/headroom.h"
#include "pipeline/output.h"
#include "pipeline/overload_report.h"
#include "pipeline/oversampling_filter.h"
#include "pipeline/quality_observer.h"
#include "pipeline/replay_gain.h"
#include "pipeline/residual.h"
#include "pipeline/source.h"
#include "platform/terminal.h"

#include <chrono>
#include <new>
#include <optional>

namespace tesk {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

Status buildStages(Pcm2pdm& job)
{
    const PcmInfo& info = job.recording.info;
    auto modulator = buildChain(job.settings, info.isFloat ? 32 : info.bitsPerSample, job.plan.dsdRate, job.kernels,
                                job.pool, job.report, job.chain);
    Status status = modulator.status();
    if (modulator) {
        job.modulator = *modulator;
        status = job.chain.prepare({job.plan.pcmRate, job.plan.channels, job.plan.totalFrames});
    }
    if (!status) job.report.line("Report", "EffectChain: failed to initialize\n");
    if (job.settings.lookaheadLimiter && job.plan.channels > 1)
        job.report.alert(
            "--lal has one delay line for all channels: 75 times a second each channel begins with a piece "
            "of the one before it. Take it for mono, and --headroom for anything else.\n");
    return status;
}

void announceOutput(const Pcm2pdm& job)
{
    if (!job.settings.pipe) {
        job.report.line("Outfile extension:", "%s\n", containerOf(job.settings).c_str());
        if (job.piece.cuts.empty()) job.report.line("Using file output:", "%s\n", job.settings.outputPath.c_str());
        for (const TrackCut& cut : job.piece.cuts) job.report.line("Using file output:", "%s\n", cut.path.c_str());
        return;
    }
    if (platform::isTerminal(stdout)) job.report.warning("Stdout is not a pipe, but pipe mode was requested\n");
    job.report.line("Report", "Initialized pipe mode for ffplay compatibility\n");
    job.report.line("Report", "Using stdout for DSD data output (pipe mode)\n");
}

Status checkOutputs(const Pcm2pdm& job)
{
    if (job.piece.cuts.empty()) return checkOutput(job.settings, job.settings.outputPath, job.report);
    for (const TrackCut& cut : job.piece.cuts)
        if (Status status = checkOutput(job.settings, cut.path, job.report); !status) return status;
    return {};
}

/// The tags of the output; a DSDIFF file must know its artist and title.
Status settleMetadata(Pcm2pdm& job)
{
    if (job.settings.metadataFromInput) read_input_tags(job.settings.inputs.front(), job.metadata, job.report);
    const bool ofTracks = !job.piece.cuts.empty(); // they bring their own
    if (ofTracks || !needsArtistAndTitle(job.settings) || !job.environment.completeMetadata) return {};
    return job.environment.completeMetadata(job.metadata);
}

/// Everything before the first byte of output.
Status prepare(Pcm2pdm& job)
{
    if (Status status = checkOutputs(job); !status) return status;
    if (Status status = settleMetadata(job); !status) return status;
    announceOutput(job);
    if (Status status = loadSource(job); !status) return status;
    if (Status status = checkDst(job); !status) return status;
    if (!job.settings.pipe && containerOf(job.settings) != "dsf" && (job.metadata.coverPath || job.metadata.coverImage))
        job.report.alert("only DSF files hold a cover; it is left out\n");
    settleReplayGain(job);
    if (Status status = settleAdaptiveChoice(job); !status) return status;
    if (Status status = designOversamplingFilter(job); !status) return status;
    if (Status status = buildStages(job); !status) return status;
    reportNoiseTransferFunction(job);
    return settleHeadroom(job);
}

/// A stream without a name has no place for a report beside it.
bool wantsQualityReport(const Pcm2pdm& job)
{
    if (!job.settings.pdfReport) return false;
    if (job.settings.outputPath == "-") job.report.warning("no PDF report: the output is no file\n");
    return job.settings.outputPath != "-";
}

void encode(Pcm2pdm& job)
{
    const auto output = makeJobOutput(job);
    job.status.keep(output->open());
    if (!job.status.ok()) return;
    job.report.line("Report", "Encode DSD\n");
    ConversionBlockState state(job, output->writer());
    ResidualObserver residual(job);
    state.observers.push_back(&residual);
    std::optional<QualityObserver> quality; // its buffer is large
    if (wantsQualityReport(job)) state.observers.push_back(&quality.emplace(job));
    runBlockLoop(job, state);

    if (job.status.value() == kHostStopped) {
        (void)output->writer().stop().ok(); // what was written stays, and the status is settled
    } else if (job.status.ok()) {
        std::size_t drained = 0;
        job.status.keep(job.chain.flush(nullptr, &drained)); // no stage has a tail
        job.status.keep(output->writer().finish(job.metadata, job.report));
        if (job.status.ok() && !takeStop(job))
            for (BlockObserver* observer : state.observers) observer->report(job.report);
    }
    if (job.status.ok() || job.status.value() == kHostStopped) job.status.keep(output->commit());
    job.timing.bytesWritten = output->writer().bytesWritten();
    reportOverload(job);
}

void run(Pcm2pdm& job)
{
    const Status prepared = prepare(job);
    if (prepared.status() == kHostStopped) {
        takeStop(job);
        return;
    }
    job.status.keep(prepared);
    if (!job.status.ok()) return;
    const auto start = Clock::now();
    encode(job);
    job.timing.writeSeconds = secondsSince(start);
}

} // namespace

JobResult convertPcmToPdm(const ConversionSettings& settings, const JobEnvironment& environment, const JobPiece& piece)
{
    const auto start = Clock::now();
    Pcm2pdm job(settings, environment, piece);
    try {
        run(job);
    } catch (const std::bad_alloc&) {
        job.report.error("Fatal: out of memory. Try a shorter input or fewer taps.\n");
        job.status.keep(DSD_ERROR_INIT);
    }
    job.timing.totalSeconds = secondsSince(start);
    return {job.status.value(), job.timing};
}

} // namespace tesk
