#include "pipeline/output.h"

#include "container/dff_dst_writer.h"
#include "container/dff_writer.h"
#include "container/dsf_layout.h"
#include "container/dsf_writer.h"
#include "container/dst/dst_format.h"
#include "container/dst/dst_frame_stream.h"
#include "container/pipe_writer.h"
#include "container/wsd_writer.h"
#include "engine/base/paths.h"
#include "pipeline/track_outputs.h"
#include "platform/terminal.h"

namespace tesk {
namespace {

PipeForm pipeForm(const std::string& container)
{
    if (container == "dff") return PipeForm::dff;
    return container == "wsd" ? PipeForm::wsd : PipeForm::dsf;
}

/// The encoder on the job's workers.
class StreamCoder final : public DstFrameCoder {
public:
    StreamCoder(const DstParameters& parameters, const Pcm2pdm& job, Receiver receiver)
        : stream_(parameters, job.pool, job.report, std::move(receiver))
    {
    }

    Status status() const { return stream_.status(); }
    Status push(Bytes interleaved) override { return stream_.push(interleaved); }
    Status finish() override { return stream_.finish(); }
    unsigned threads() const override { return static_cast<unsigned>(stream_.encoders()); }

private:
    DstFrameStream stream_;
};

DstParameters dstParameters(const Pcm2pdm& job)
{
    return {job.plan.channels, job.plan.dsdRate, dstBytesPerChannel(job.plan.dsdRate), job.settings.dstPredictionOrder};
}

DstCoderFactory dstCoderFactory(const Pcm2pdm& job)
{
    return [&job](const DsdStreamInfo&, DstFrameCoder::Receiver receiver) -> std::unique_ptr<DstFrameCoder> {
        auto coder = std::make_unique<StreamCoder>(dstParameters(job), job, std::move(receiver));
        if (!coder->status()) return nullptr;
        return coder;
    };
}

std::unique_ptr<DsdWriter> fileWriter(const Pcm2pdm& job, ByteSink& sink)
{
    const int batch = job.settings.memoryCacheBlocks;
    const std::string container = containerOf(job.settings);
    if (container == "dff" && job.settings.dst)
        return std::make_unique<DffDstWriter>(sink, job.report, batch, dstCoderFactory(job));
    if (container == "dff") return std::make_unique<DffWriter>(sink, job.report, batch);
    if (container == "wsd") return std::make_unique<WsdWriter>(sink, job.report, batch);
    return std::make_unique<DsfWriter>(sink, job.report, batch);
}

} // namespace

Status SingleOutput::open()
{
    const ConversionSettings& settings = job_.settings;
    if (settings.pipe) {
        if (platform::isTerminal(stdout))
            sink_ = std::make_unique<NullSink>(); // a screen full of DSD bytes helps nobody
        else
            sink_ = std::make_unique<PipeSink>(stdout, job_.report);
        writer_ = std::make_unique<PipeWriter>(*sink_, pipeForm(containerOf(settings)), job_.report);
    } else {
        std::string error;
        if (Status status = file_.open(path_, error); !status) {
            job_.report.error("Error : %s\n", error.c_str());
            return status;
        }
        sink_ = std::make_unique<FileSink>(file_.stream(), job_.report, !file_.direct());
        writer_ = fileWriter(job_, *sink_);
    }
    const StreamPlan& plan = job_.plan;
    return writer_->begin({plan.channels, plan.dsdRate, bytes_, plan.blockBytes(), 1});
}

Status SingleOutput::commit()
{
    if (!file_.stream()) return {};
    std::string error;
    Status status = file_.commit(error);
    if (!status) job_.report.error("Error : %s\n", error.c_str());
    return status;
}

std::unique_ptr<JobOutput> makeJobOutput(const Pcm2pdm& job)
{
    if (!job.piece.cuts.empty()) return std::make_unique<TrackOutputs>(job, containerBorder(job));
    return std::make_unique<SingleOutput>(job, job.settings.outputPath, job.plan.totalBytes());
}

Status checkOutput(const ConversionSettings& settings, const std::string& path, Reporter& report)
{
    if (settings.pipe) return {};
    const std::string obstacle = outputObstacle(path, settings.inputs);
    if (obstacle.empty()) return {};
    report.error("Error : %s\n", obstacle.c_str());
    return DSD_ERROR_OUTPUT;
}

std::string containerOf(const ConversionSettings& settings)
{
    if (!settings.format.empty()) return settings.format;
    if (settings.pipe) return "dsf";
    const std::string extension = fileExtension(settings.outputPath);
    return extension == "dst" ? "dff" : extension;
}

bool needsArtistAndTitle(const ConversionSettings& settings)
{
    return !settings.pipe && containerOf(settings) == "dff";
}

Status checkDst(const Pcm2pdm& job)
{
    if (!job.settings.dst || checkDstParameters(dstParameters(job), job.report)) return {};
    job.report.error(
        "Error : DST batch encoding failed — aborting\n        DST holds at most %u channels and %u Hz; the "
        "output would have %u and %u. A plain .dff takes them.\n",
        kDstMaxChannels, kDstMaxBytesPerChannel * 8 * kDstFramesPerSecond, job.plan.channels, job.plan.dsdRate);
    return DSD_ERROR_INIT_ENCODED_DST;
}

std::uint64_t containerBorder(const Pcm2pdm& job)
{
    if (containerOf(job.settings) == "dsf") return kDsfBlockBytes;
    return job.settings.dst ? dstBytesPerChannel(job.plan.dsdRate) : 1;
}

} // namespace tesk
