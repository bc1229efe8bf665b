// The file a run writes, which appears under its name only when the run has come to its end.
#pragma once

#include "engine/base/result.h"
#include "platform/files.h"

#include <string>
#include <vector>

namespace tesk {

/// Writes to a temporary name beside the target and renames it over the target at the end, so that a failed run
/// leaves what stood there. A symbolic link is followed; a target that exists and is no regular file (a device, a
/// named pipe) is opened directly and never replaced or removed. Destroyed without `commit`, it discards.
class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile() { discard(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// DSD_ERROR_OUTPUT, with `error` saying why in the user's words, when it cannot be written.
    Status open(const std::string& path, std::string& error);
    std::FILE* stream() const { return file_.get(); }
    /// Whether the target is a device or pipe that is written directly.
    bool direct() const { return temporary_.empty(); }

    /// Brings the bytes to the medium, closes, and gives the file its name.
    Status commit(std::string& error);
    /// Closes and removes the temporary file.
    void discard();

private:
    platform::FilePtr file_;
    std::string target_, temporary_;
};

/// What would stop `path` from being written, found without touching anything; empty when nothing would.
/// @param inputs  files that are read meanwhile, and must be none of them
std::string outputObstacle(const std::string& path, const std::vector<std::string>& inputs = {});

} // namespace tesk
