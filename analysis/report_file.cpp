#include "analysis/report_file.h"

#include "engine/base/paths.h"
#include "platform/files.h"

namespace tesk::analysis {

std::string inFolder(const std::string& folder, const std::string& name)
{
    return folder.empty() || folder.back() == '/' ? folder + name : folder + "/" + name;
}

bool writeReportFile(const std::string& path, const std::string& contents, Reporter& reporter)
{
    platform::FilePtr file(platform::open_utf8(path.c_str(), "wb"));
    const bool written = file && std::fwrite(contents.data(), 1, contents.size(), file.get()) == contents.size() &&
                         std::fclose(file.release()) == 0; // a full disk may show only here
    if (!written) reporter.err("Warning: cannot write %s\n", path.c_str() + folderOf(path).size());
    return written;
}

} // namespace tesk::analysis
