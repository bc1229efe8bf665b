// Where a job's bytes go: the file, or the pipe, with the writer that lays them out.
#pragma once

#include "container/byte_sink.h"
#include "container/dsd_writer.h"
#include "container/output_file.h"
#include "pipeline/pcm2pdm.h"

#include <memory>
#include <string>

namespace tesk {

/// Owns what a job writes to. Destroyed before `commit` it leaves no unfinished file behind.
class JobOutput {
public:
    virtual ~JobOutput() = default;

    /// Opens the output and lets the writer begin. Prints the reason of a failure.
    virtual Status open() = 0;
    virtual DsdWriter& writer() = 0;
    /// Gives the file its name. Prints why when it cannot.
    virtual Status commit() = 0;
};

/// One file, or standard output. `job` outlives it.
class SingleOutput final : public JobOutput {
public:
    SingleOutput(const Pcm2pdm& job, std::string path, std::uint64_t bytesPerChannel)
        : job_(job), path_(std::move(path)), bytes_(bytesPerChannel)
    {
    }

    Status open() override;
    DsdWriter& writer() override { return *writer_; }
    Status commit() override;

private:
    const Pcm2pdm& job_;
    std::string path_;
    std::uint64_t bytes_;
    OutputFile file_;
    std::unique_ptr<ByteSink> sink_;
    std::unique_ptr<DsdWriter> writer_;
};

/// The output that the job asks for: one, or one per track of a continuous stream.
std::unique_ptr<JobOutput> makeJobOutput(const Pcm2pdm& job);

/// What can be found wrong with an output before any work: a folder that is missing, a directory in place of the
/// file, an output that is one of the inputs. Prints the reason.
Status checkOutput(const ConversionSettings& settings, const std::string& path, Reporter& report);

/// "dsf", "dff" or "wsd": what the format option says, or else the output's extension; "dsf" for a bare pipe.
std::string containerOf(const ConversionSettings& settings);

/// Whether the output is a file that has to name its artist and title.
bool needsArtistAndTitle(const ConversionSettings& settings);

/// Whether the stream can be DST-coded, where that is asked for. Prints why not.
Status checkDst(const Pcm2pdm& job);

/// Bytes per channel between two places where a file of that container can end without padding.
std::uint64_t containerBorder(const Pcm2pdm& job);

} // namespace tesk
