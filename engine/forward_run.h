// A forward conversion as the entry runs it: options, log, job, closing lines.
#pragma once

#include <string>
#include <vector>

namespace tesk {

/// `arguments` without the program's name. Answers the run's status.
int runForward(const std::vector<std::string>& arguments);

} // namespace tesk
