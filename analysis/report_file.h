// Where reports go: files of their own, which a conversion can do without.
#pragma once

#include "engine/base/reporter.h"

#include <string>

namespace tesk::analysis {

/// The file's path in the folder, with or without a slash at the folder's end; an empty folder is the working
/// directory.
std::string inFolder(const std::string& folder, const std::string& name);

/// Writes the file anew. False, after "Warning: cannot write NAME" on the reporter's standard error, when it cannot be
/// opened or the medium takes only a part.
bool writeReportFile(const std::string& path, const std::string& contents, Reporter& reporter);

} // namespace tesk::analysis
