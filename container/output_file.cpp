#include "container/output_file.h"

#include "engine/base/paths.h"
#include "engine/base/reporter.h"
#include "platform/process.h"

#include <cerrno>

namespace tesk {
namespace {

using platform::FileKind;

std::string directoryOf(const std::string& path)
{
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string quoted(const char* what, const std::string& path, const std::string& why)
{
    return format("%s '%s': %s", what, path.c_str(), why.c_str());
}

} // namespace

std::string outputObstacle(const std::string& path, const std::vector<std::string>& inputs)
{
    // What a link of /proc or /dev leads to need not have a name of its own, so devices keep the user's.
    const bool device = platform::fileKind(path) == FileKind::other;
    const std::string target = device ? path : platform::resolveLinks(path);
    if (platform::fileKind(target) == FileKind::directory)
        return quoted("cannot write", path, "it is a directory; name a file in it");
    // A rename would replace it all the same; whoever made it read-only did not mean that.
    if (platform::fileKind(target) != FileKind::missing && !platform::isWritable(target))
        return quoted("cannot write", path, "it is write-protected");
    const std::string directory = directoryOf(target);
    if (target.size() - folderOf(target).size() > platform::longestFileName())
        return quoted("cannot write", path, "its name is too long");
    if (platform::fileKind(directory) == FileKind::missing)
        return quoted("cannot write", path, "the folder '" + directory + "' does not exist; create it first");
    if (platform::fileKind(directory) != FileKind::directory)
        return quoted("cannot write", path, "'" + directory + "' is no folder");
    for (const std::string& input : inputs)
        if (platform::sameFile(input, path)) return "the output '" + path + "' is the input itself; name another file";
    return {};
}

Status OutputFile::open(const std::string& path, std::string& error)
{
    error = outputObstacle(path);
    if (!error.empty()) return DSD_ERROR_OUTPUT;
    const bool device = platform::fileKind(path) == FileKind::other;
    target_ = device ? path : platform::resolveLinks(path);
    if (device) {
        file_.reset(platform::open_utf8(target_.c_str(), "wb"));
    } else {
        // A number after the process id, for a name that an earlier, killed run may have left behind.
        for (int attempt = 0; attempt < 100 && !file_; ++attempt) {
            temporary_ = format("%s/tesk-%d-%d.part", directoryOf(target_).c_str(), platform::processId(), attempt);
            file_.reset(platform::createExclusive(temporary_));
            if (!file_ && errno != EEXIST) break;
        }
        if (file_) platform::copyPermissions(target_, temporary_);
    }
    if (file_) return {};
    error = quoted("cannot write", path, platform::errorText(errno));
    temporary_.clear();
    return DSD_ERROR_OUTPUT;
}

Status OutputFile::commit(std::string& error)
{
    if (!file_) return DSD_ERROR_OUTPUT;
    errno = 0;
    const bool intact = std::ferror(file_.get()) == 0;
    const bool synced = direct() ? std::fflush(file_.get()) == 0 : platform::syncToMedium(file_.get());
    const bool closed = std::fclose(file_.release()) == 0;
    if (!intact || !synced || !closed) {
        error = quoted("cannot finish", target_, platform::errorText(errno));
        discard();
        return DSD_ERROR_WRITE;
    }
    if (direct()) return {};
    if (!platform::renameOver(temporary_, target_)) {
        error = quoted("cannot put the finished file in place as", target_, platform::errorText(errno));
        discard();
        return DSD_ERROR_WRITE;
    }
    temporary_.clear();
    return {};
}

void OutputFile::discard()
{
    file_.reset();
    if (!temporary_.empty()) platform::removeFile(temporary_);
    temporary_.clear();
}

} // namespace tesk
