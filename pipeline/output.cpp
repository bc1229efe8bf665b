#include "pipeline/output.h"

#include "container/dsf_writer.h"
#include "container/pipe_writer.h"
#include "platform/terminal.h"

namespace tesk {

Status JobOutput::check(const Pcm2pdm& job)
{
    const ConversionSettings& settings = job.settings;
    if (settings.pipe) return {};
    std::string obstacle = outputObstacle(settings.outputPath);
    for (const std::string& input : settings.inputs)
        if (obstacle.empty() && platform::sameFile(input, settings.outputPath))
            obstacle = "the output '" + settings.outputPath + "' is the input itself; name another file";
    if (obstacle.empty()) return {};
    job.report.error("Error : %s\n", obstacle.c_str());
    return DSD_ERROR_OUTPUT;
}

Status JobOutput::open(Pcm2pdm& job)
{
    const ConversionSettings& settings = job.settings;
    if (settings.pipe) {
        if (platform::isTerminal(stdout))
            sink_ = std::make_unique<NullSink>(); // a screen full of DSD bytes helps nobody
        else
            sink_ = std::make_unique<PipeSink>(stdout, job.report);
        writer_ = std::make_unique<PipeWriter>(*sink_);
    } else {
        std::string error;
        if (Status status = file_.open(settings.outputPath, error); !status) {
            job.report.error("Error : %s\n", error.c_str());
            return status;
        }
        sink_ = std::make_unique<FileSink>(file_.stream(), job.report, !file_.direct());
        writer_ = std::make_unique<DsfWriter>(*sink_, job.report, settings.memoryCacheBlocks);
    }
    const StreamPlan& plan = job.plan;
    return writer_->begin({plan.channels, plan.dsdRate, plan.totalFrames, plan.blockFrames, plan.factor, 1});
}

Status JobOutput::commit(Reporter& report)
{
    if (!file_.stream()) return {};
    std::string error;
    Status status = file_.commit(error);
    if (!status) report.error("Error : %s\n", error.c_str());
    return status;
}

} // namespace tesk
