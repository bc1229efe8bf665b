#include "pipeline/convert.h"

#include "pipeline/block_loop.h"
#include "pipeline/chain_builder.h"
#include "pipeline/headroom.h"
#include "pipeline/output.h"
#include "pipeline/overload_report.h"
#include "pipeline/oversampling_filter.h"
#include "pipeline/residual.h"
#include "pipeline/source.h"
#include "platform/terminal.h"

#include <chrono>
#include <new>

namespace tesk {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

Status buildStages(Pcm2pdm& job)
{
    const PcmInfo& info = job.recording.info;
    auto modulator =
        buildChain(job.settings, info.isFloat ? 32 : info.bitsPerSample, job.kernels, job.pool, job.report, job.chain);
    Status status = modulator.status();
    if (modulator) {
        job.modulator = *modulator;
        status = job.chain.prepare({job.plan.pcmRate, job.plan.channels, job.plan.totalFrames});
    }
    if (!status) job.report.line("Report", "EffectChain: failed to initialize\n");
    return status;
}

void announceOutput(const Pcm2pdm& job)
{
    if (!job.settings.pipe) {
        const std::string& path = job.settings.outputPath;
        job.report.line("Outfile extension:", "%s\n", "dsf" /* the one container this version writes */);
        job.report.line("Using file output:", "%s\n", path.c_str());
        return;
    }
    if (platform::isTerminal(stdout)) job.report.warning("Stdout is not a pipe, but pipe mode was requested\n");
    job.report.line("Report", "Initialized pipe mode for ffplay compatibility\n");
    job.report.line("Report", "Using stdout for DSD data output (pipe mode)\n");
}

/// Everything before the first byte of output.
Status prepare(Pcm2pdm& job)
{
    if (Status status = JobOutput::check(job); !status) return status;
    announceOutput(job);
    if (Status status = loadSource(job); !status) return status;
    if (Status status = designOversamplingFilter(job); !status) return status;
    if (Status status = buildStages(job); !status) return status;
    return settleHeadroom(job);
}

void encode(Pcm2pdm& job)
{
    JobOutput output;
    job.status.keep(output.open(job));
    if (!job.status.ok()) return;
    ConversionBlockState state(job, output.writer());
    ResidualObserver residual(job);
    state.observers.push_back(&residual);
    runBlockLoop(job, state);

    if (job.status.value() == kHostStopped) {
        (void)output.writer().stop().ok(); // what was written stays, and the status is settled
    } else if (job.status.ok()) {
        std::size_t drained = 0;
        job.status.keep(job.chain.flush(nullptr, &drained)); // no stage has a tail
        job.status.keep(output.writer().finish(job.settings.metadata, job.report));
        if (job.status.ok() && !takeStop(job))
            for (BlockObserver* observer : state.observers) observer->report(job.report);
    }
    if (job.status.ok() || job.status.value() == kHostStopped) job.status.keep(output.commit(job.report));
    job.timing.bytesWritten = output.writer().bytesWritten();
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

JobResult convertPcmToPdm(const ConversionSettings& settings, const JobEnvironment& environment)
{
    const auto start = Clock::now();
    Pcm2pdm job(settings, environment);
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
