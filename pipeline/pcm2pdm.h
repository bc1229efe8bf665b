// One forward job: everything that its steps share, alive from the first check to the last report.
#pragma once

#include "container/dsd_writer.h"
#include "effect/effect_chain.h"
#include "engine/base/job_status.h"
#include "engine/base/progress.h"
#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "engine/base/stop_flag.h"
#include "filter/filter_plan.h"
#include "input/open_pcm.h"
#include "input/tags/replay_gain.h"
#include "modulator/one_bit_stage.h"
#include "pipeline/kernel/kernel_table.h"
#include "pipeline/kernel/phase_table.h"
#include "pipeline/parallel/worker_pool.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tesk {

/// The world a job works in; the entry hands it down, tests hand down their own.
struct JobEnvironment {
    Reporter& report;
    StopFlag& stop;
    parallel::WorkerPool& pool;
    const kernel::KernelTable& kernels;
    StreamLoader streamLoader = {}; ///< decoders of run time
    /// Completes the tags of an output that needs an artist and a title, or refuses the run. May be empty.
    std::function<Status(MetadataRecord&)> completeMetadata = {};
    Progress::Shown progress = {};
};

/// Where a track begins in a continuous stream, and the file it goes to.
struct TrackCut {
    std::uint64_t frame = 0; ///< of the stream, at the input's rate
    std::string path;
    MetadataRecord metadata;
};

/// The part of the input that a job takes, and what is known of it besides the options.
struct JobPiece {
    FrameRange range;
    std::optional<ReplayGain> replayGain; ///< nothing: the input's tags tell
    std::vector<TrackCut> cuts;           ///< empty: one output, the settings' own
};

/// The numbers that follow from the source's rate and the settings.
///
///     pcmRate  44100 · 2^k or 48000 · 2^k      dsdRate  oversampling · 44100 or · 48000
///     factor   dsdRate / pcmRate               block    1/75 s: pcmRate / 75 PCM frames
///
/// An oversampled PCM output has dsdRate = any multiple of pcmRate.
struct StreamPlan {
    std::uint32_t channels = 0;
    std::uint32_t pcmRate = 0;
    std::uint32_t dsdRate = 0; ///< Hz, as `pcmRate`; of an oversampled PCM output its rate
    std::uint32_t factor = 0;
    std::uint32_t blockFrames = 0;
    std::uint64_t guardFrames = 0; ///< silence appended so that the filter's last response comes out
    std::uint64_t totalFrames = 0; ///< guard included
    std::uint64_t blockCount = 0;
    bool firstSampleInLowBit = true;
    double inputGain = 1.0;

    std::size_t blockSamples() const { return static_cast<std::size_t>(blockFrames) * factor; } ///< per channel
    std::size_t blockBytes() const { return blockSamples() / 8; }                               ///< per channel
    std::uint64_t totalBytes() const { return blockCount * blockBytes(); }                      ///< per channel
};

/// Bytes and seconds of both halves of a job, for the closing table.
struct JobTiming {
    std::uint64_t bytesRead = 0, bytesWritten = 0;
    double readSeconds = 0, writeSeconds = 0, totalSeconds = 0;
};

struct Pcm2pdm {
    Pcm2pdm(const ConversionSettings& jobSettings, const JobEnvironment& jobEnvironment, const JobPiece& jobPiece)
        : settings(jobSettings), environment(jobEnvironment), piece(jobPiece), report(environment.report),
          stop(environment.stop), pool(environment.pool), kernels(environment.kernels), metadata(settings.metadata)
    {
    }

    ConversionSettings settings; ///< as given; settleAdaptiveChoice() alone fills in what was left open
    const JobEnvironment& environment;
    const JobPiece& piece;
    Reporter& report;
    StopFlag& stop;
    parallel::WorkerPool& pool;
    const kernel::KernelTable& kernels;

    MetadataRecord metadata; ///< of the output: the options' fields, and the input's where they are not given
    PcmRecording recording;
    StreamPlan plan;
    std::unique_ptr<kernel::PhaseTable> phases;
    std::vector<double> prototype; ///< the oversampler's taps; kept only where a report shows them
    std::uint64_t filterDelay = 0; ///< of the oversampler, in samples at the higher rate: where its response is largest
    double expansionThreshold = 0; ///< on the half-scale oversampled signal; 0: none
    p2p::effect::EffectChain chain;
    const modulator::OneBitStage* modulator = nullptr; ///< the chain's last stage
    JobStatus status;
    JobTiming timing;
};

/// Takes a waiting stop request: prints its line, keeps the status and answers true. Steps that see
/// `stop.pending()` return kHostStopped and leave the taking to their caller.
bool takeStop(Pcm2pdm& job);
/// The same where there is no job yet: takes the request and prints its line.
bool takeStop(const JobEnvironment& environment);

} // namespace tesk
