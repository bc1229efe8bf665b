#include "pipeline/dxd_run.h"

#include "container/output_file.h"
#include "effect/dither_effect.h"
#include "engine/base/progress.h"
#include "engine/base/report.h"
#include "input/tags/input_tags.h"
#include "pipeline/adaptive_choice.h"
#include "pipeline/block_loop.h"
#include "pipeline/conversion_block.h"
#include "pipeline/dxd_output.h"
#include "pipeline/headroom.h"
#include "pipeline/oversampling_filter.h"
#include "pipeline/replay_gain.h"
#include "pipeline/source.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <new>

namespace tesk {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kDitherBits = 24; // what is left when the file's samples are written or converted

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

class DxdRun {
public:
    DxdRun(Pcm2pdm& job, DxdTarget target) : job_(job), target_(std::move(target)), quantizer_(job.settings) {}

    Status run()
    {
        if (Status status = prepare(); !status) return status;
        if (quantizer_.needsMeasure()) {
            const Status measured = eachBlock([&](double** samples, std::size_t count) {
                quantizer_.measure(samples, job_.plan.channels, count);
                return true;
            });
            if (!measured) return measured;
        }
        quantizer_.settle(job_.report);
        return write();
    }

private:
    Status prepare()
    {
        const std::string obstacle = outputObstacle(target_.path, job_.settings.inputs);
        if (!obstacle.empty()) return refuse(obstacle);
        if (job_.settings.metadataFromInput) read_input_tags(job_.settings.inputs.front(), job_.metadata, job_.report);
        if (Status status = loadSource(job_); !status) return status;
        settleReplayGain(job_);
        if (Status status = settleAdaptiveChoice(job_); !status) return status;
        if (Status status = designOversamplingFilter(job_); !status) return status;
        target_.format.sampleRate = job_.plan.dsdRate;
        target_.format.channels = job_.plan.channels;
        return settleHeadroom(job_);
    }

    Status refuse(const std::string& why)
    {
        if (why.empty())
            job_.report.error("%-20s\tDXD %s: failed to open %s\n", "Report", target_.name, target_.path.c_str());
        else
            job_.report.error("%-20s\tDXD %s: failed to open %s (%s)\n", "Report", target_.name, target_.path.c_str(),
                              why.c_str());
        return DSD_ERROR_OUTPUT;
    }

    /// The ratio that a full oversampling of the options would still have to come down by.
    int remainingRatio() const
    {
        const std::uint32_t base = job_.plan.pcmRate % 48000 == 0 ? 48000 : 44100;
        return static_cast<int>(static_cast<std::uint64_t>(job_.settings.oversampling) * base / job_.plan.dsdRate);
    }

    void announce()
    {
        job_.report.line("Report", "Encode DXD\n");
        const PcmFormat& f = target_.format;
        const auto bits = static_cast<int>(f.bitsPerSample);
        if (target_.container == PcmContainer::flac)
            job_.report.line("Report", "DXD %s: %s (%u ch, %u Hz, decim %d, %d-bit)\n", target_.name,
                             target_.path.c_str(), f.channels, f.sampleRate, remainingRatio(), bits);
        else
            job_.report.line("Report", "DXD %s: %s (%u ch, %u Hz, decim %d, %d-bit %s)\n", target_.name,
                             target_.path.c_str(), f.channels, f.sampleRate, remainingRatio(), bits,
                             f.isFloat ? "float" : "integer");
    }

    /// Samples per channel of the whole output.
    std::uint64_t total() const { return job_.recording.signal.frames() * job_.plan.factor; }

    /// The oversampled signal, block by block, without the filter's delay and tail. `take` may change the samples.
    template <class Take>
    Status eachBlock(Take take)
    {
        const StreamPlan& plan = job_.plan;
        Oversampler oversampler(job_);
        Progress progress(plan.totalFrames, plan.pcmRate, job_.environment.progress);
        std::vector<const double*> input(plan.channels);
        std::vector<double*> output(plan.channels);
        std::uint64_t delay = job_.filterDelay, left = total();
        Status status;
        for (std::uint64_t position = 0; position < plan.totalFrames && status; position += plan.blockFrames) {
            if (takeStop(job_)) status = kHostStopped;
            const std::uint64_t frames = std::min<std::uint64_t>(plan.blockFrames, plan.totalFrames - position);
            for (std::uint32_t c = 0; c < plan.channels; ++c) input[c] = job_.recording.signal.channel(c) + position;
            double** samples = oversampler.process(input.data(), static_cast<std::size_t>(frames));
            const std::uint64_t skipped = std::min<std::uint64_t>(delay, plan.blockSamples());
            const std::uint64_t count = std::min(plan.blockSamples() - skipped, left);
            delay -= skipped;
            left -= count;
            for (std::uint32_t c = 0; c < plan.channels; ++c) output[c] = samples[c] + skipped;
            if (status && count > 0 && !take(output.data(), static_cast<std::size_t>(count))) status = DSD_ERROR_OUTPUT;
            if (status) progress.advance(position + frames);
        }
        progress.finish();
        return status;
    }

    Status prepareDither()
    {
        dither_ = std::make_unique<p2p::effect::DitherEffect>(
            p2p::effect::DitherConfig(kDitherBits, job_.settings.ditherType));
        return dither_->prepare({job_.plan.dsdRate, job_.plan.channels, total()});
    }

    bool writeBlock(PcmWriter& writer, double** samples, std::size_t count)
    {
        const std::uint32_t channels = job_.plan.channels;
        quantizer_.apply(samples, channels, count);
        for (std::uint32_t c = 0; c < channels; ++c) peak_ = std::max(peak_, job_.kernels.peak(samples[c], count));
        if (dither_ && !dither_->process(samples, count, channels)) return false;
        interleaved_.resize(count * channels);
        for (std::uint32_t c = 0; c < channels; ++c)
            for (std::size_t i = 0; i < count; ++i) interleaved_[i * channels + c] = samples[c][i];
        return writer.write(interleaved_.data(), count);
    }

    Status write()
    {
        if (job_.settings.dither)
            if (Status status = prepareDither(); !status) return status;
        const auto writer = makePcmWriter(target_.container, job_.report);
        if (!writer->open(target_.path, target_.format, {total(), job_.metadata})) return refuse(writer->errorText());
        announce();
        const auto start = Clock::now();
        Status status =
            eachBlock([&](double** samples, std::size_t count) { return writeBlock(*writer, samples, count); });
        const bool complete = status || status.status() == kHostStopped; // a stopped file has true sizes too
        if (!complete || !writer->close()) {
            job_.report.error("Error : %s\n", writer->errorText().c_str());
            return DSD_ERROR_OUTPUT;
        }
        if (peak_ > 1.0 && !target_.format.isFloat)
            job_.report.alert(
                "samples up to %+.2f dB beyond full scale were clipped; -qt peak or less gain keeps them\n",
                20 * std::log10(peak_));
        job_.timing.bytesWritten = writer->bytesWritten();
        job_.timing.writeSeconds = secondsSince(start);
        return status;
    }

    Pcm2pdm& job_;
    DxdTarget target_;
    PcmQuantizer quantizer_;
    std::unique_ptr<p2p::effect::DitherEffect> dither_;
    std::vector<double> interleaved_;
    double peak_ = 0; // of what was written
};

} // namespace

JobResult convertPcmToDxd(const ConversionSettings& settings, const JobEnvironment& environment, const JobPiece& piece)
{
    const auto start = Clock::now();
    Pcm2pdm job(settings, environment, piece);
    try {
        if (auto target = dxdTarget(settings, job.report))
            job.status.keep(DxdRun(job, std::move(*target)).run());
        else
            job.status.keep(DSD_ERROR_OUTPUT);
        if (job.status.value() == kHostStopped) takeStop(job);
    } catch (const std::bad_alloc&) {
        job.report.error("Fatal: out of memory. Try a shorter input or fewer taps.\n");
        job.status.keep(DSD_ERROR_INIT);
    }
    job.timing.totalSeconds = secondsSince(start);
    return {job.status.value(), job.timing};
}

} // namespace tesk
