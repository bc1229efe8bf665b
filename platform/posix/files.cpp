#include "platform/files.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tesk::platform {

std::FILE* open_utf8(const char* path, const char* mode) { return std::fopen(path, mode); }

bool seek64(std::FILE* file, std::int64_t offset, int origin) { return fseeko(file, offset, origin) == 0; }

std::int64_t tell64(std::FILE* file) { return ftello(file); }

FileKind fileKind(const std::string& path)
{
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return FileKind::missing;
    if (S_ISREG(info.st_mode)) return FileKind::regular;
    return S_ISDIR(info.st_mode) ? FileKind::directory : FileKind::other;
}

std::optional<std::uint64_t> fileSize(const std::string& path)
{
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return {};
    return static_cast<std::uint64_t>(info.st_size);
}

bool sameFile(const std::string& a, const std::string& b)
{
    struct stat first {
    }, second{};
    return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

std::string resolveLinks(const std::string& path)
{
    std::string current = path;
    for (int depth = 0; depth < 40; ++depth) { // the kernel's own limit
        std::array<char, 4096> target;
        const ssize_t length = readlink(current.c_str(), target.data(), target.size());
        if (length <= 0) return current;
        const std::string next(target.data(), static_cast<std::size_t>(length));
        const auto slash = current.find_last_of('/');
        current = next.front() == '/' || slash == std::string::npos ? next : current.substr(0, slash + 1) + next;
    }
    return current;
}

bool isWritable(const std::string& path) { return access(path.c_str(), W_OK) == 0; }

std::FILE* createExclusive(const std::string& path)
{
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0) return nullptr;
    std::FILE* file = fdopen(descriptor, "w+b");
    if (!file) close(descriptor);
    return file;
}

bool syncToMedium(std::FILE* file)
{
    if (std::fflush(file) != 0) return false;
    return fsync(fileno(file)) == 0 || errno == EINVAL || errno == EROFS;
}

void copyPermissions(const std::string& model, const std::string& path)
{
    struct stat info {};
    if (stat(model.c_str(), &info) != 0) return;
    // A refusal leaves the file with the user's default permissions, which is no loss.
    [[maybe_unused]] const int result = chmod(path.c_str(), info.st_mode & 07777);
}

bool renameOver(const std::string& from, const std::string& to) { return std::rename(from.c_str(), to.c_str()) == 0; }

bool removeFile(const std::string& path) { return std::remove(path.c_str()) == 0; }

std::size_t longestFileName() { return NAME_MAX; }

std::string errorText(int error) { return std::strerror(error); }

} // namespace tesk::platform
