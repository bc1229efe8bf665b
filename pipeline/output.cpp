#include "pipeline/output.h"

#include "container/dsf_layout.h"
#include "container/dsf_writer.h"
#include "container/pipe_writer.h"
#include "engine/base/paths.h"
#include "pipeline/track_outputs.h"
#include "platform/terminal.h"

namespace tesk {

Status SingleOutput::open()
{
    const ConversionSettings& settings = job_.settings;
    if (settings.pipe) {
        if (platform::isTerminal(stdout))
            sink_ = std::make_unique<NullSink>(); // a screen full of DSD bytes helps nobody
        else
            sink_ = std::make_unique<PipeSink>(stdout, job_.report);
        writer_ = std::make_unique<PipeWriter>(*sink_);
    } else {
        std::string error;
        if (Status status = file_.open(path_, error); !status) {
            job_.report.error("Error : %s\n", error.c_str());
            return status;
        }
        sink_ = std::make_unique<FileSink>(file_.stream(), job_.report, !file_.direct());
        writer_ = std::make_unique<DsfWriter>(*sink_, job_.report, settings.memoryCacheBlocks);
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
    if (!job.piece.cuts.empty()) return std::make_unique<TrackOutputs>(job, containerBorder(job.settings));
    return std::make_unique<SingleOutput>(job, job.settings.outputPath, job.plan.totalBytes());
}

Status checkOutput(const ConversionSettings& settings, const std::string& path, Reporter& report)
{
    if (settings.pipe) return {};
    std::string obstacle = outputObstacle(path);
    for (const std::string& input : settings.inputs)
        if (obstacle.empty() && platform::sameFile(input, path))
            obstacle = "the output '" + path + "' is the input itself; name another file";
    if (obstacle.empty()) return {};
    report.error("Error : %s\n", obstacle.c_str());
    return DSD_ERROR_OUTPUT;
}

std::string containerOf(const ConversionSettings& settings)
{
    if (!settings.format.empty()) return settings.format;
    const std::string extension = fileExtension(settings.outputPath);
    return extension == "dst" ? "dff" : extension;
}

bool needsArtistAndTitle(const ConversionSettings& settings)
{
    return !settings.pipe && containerOf(settings) == "dff";
}

std::uint64_t containerBorder(const ConversionSettings&)
{
    return kDsfBlockBytes; // of the one container that this version writes
}

} // namespace tesk
