// Where a job's bytes go: the file, or the pipe, with the writer that lays them out.
#pragma once

#include "container/byte_sink.h"
#include "container/dsd_writer.h"
#include "container/output_file.h"
#include "pipeline/pcm2pdm.h"

#include <memory>

namespace tesk {

/// Owns sink and writer. Destroyed before `commit` it leaves no file behind.
class JobOutput {
public:
    /// What can be found wrong with the output before any work: a folder that is missing, a directory in place of
    /// the file, an output that is one of the inputs. Prints the reason.
    static Status check(const Pcm2pdm& job);

    /// Opens the output and lets the writer begin.
    Status open(Pcm2pdm& job);
    DsdWriter& writer() { return *writer_; }
    /// Gives a file its name. Prints why when it cannot.
    Status commit(Reporter& report);

private:
    OutputFile file_;
    std::unique_ptr<ByteSink> sink_;
    std::unique_ptr<DsdWriter> writer_;
};

} // namespace tesk
