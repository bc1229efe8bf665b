#include "platform/folders.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <dirent.h>
#include <filesystem>
#include <fnmatch.h>
#include <locale.h>
#include <memory>
#include <sys/stat.h>

namespace tesk::platform {
namespace {

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};

/// While it lives, this thread matches characters of UTF-8 and not bytes, where the system knows them.
class Utf8Matching {
public:
    Utf8Matching() : utf8_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), before_(utf8_ ? uselocale(utf8_) : nullptr) {}
    ~Utf8Matching()
    {
        if (!utf8_) return;
        uselocale(before_);
        freelocale(utf8_);
    }
    Utf8Matching(const Utf8Matching&) = delete;
    Utf8Matching& operator=(const Utf8Matching&) = delete;

private:
    locale_t utf8_, before_;
};

bool fits(const std::string& pattern, const std::string& name)
{
    return fnmatch(pattern.c_str(), name.c_str(), FNM_PERIOD | FNM_NOESCAPE) == 0;
}

/// A link that leads nowhere has a name too.
bool isThere(const std::string& path)
{
    struct stat info {};
    return lstat(path.c_str(), &info) == 0;
}

/// The names in `folder` that `component` stands for, each behind `folder`.
std::vector<std::string> matchesOf(const std::string& folder, const std::string& component, bool last)
{
    const std::string literal = folder + component;
    if (isThere(literal)) return {literal};
    std::vector<std::string> found;
    if (!hasWildcards(component)) return found;
    for (const FolderEntry& entry : listFolder(folder.empty() ? "." : folder).value_or(std::vector<FolderEntry>()))
        if ((last || entry.kind == FileKind::directory) && fits(component, entry.name))
            found.push_back(folder + entry.name);
    return found;
}

} // namespace

std::optional<std::vector<FolderEntry>> listFolder(const std::string& path)
{
    const std::unique_ptr<DIR, FolderCloser> folder(opendir(path.c_str()));
    if (!folder) return {};
    std::vector<FolderEntry> entries;
    errno = 0;
    while (const dirent* entry = readdir(folder.get())) {
        std::string name = entry->d_name;
        if (name != "." && name != "..") entries.push_back({std::move(name), FileKind::missing});
        errno = 0; // tells the end from a failure
    }
    if (errno != 0) return {};
    for (FolderEntry& entry : entries) entry.kind = fileKind(path + "/" + entry.name);
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return entries;
}

bool makeFolders(const std::string& path)
{
    if (path.empty()) return true;
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string folder = path.substr(0, end);
        const bool made = mkdir(folder.c_str(), 0777) == 0;
        const int reason = errno;
        if (!made && fileKind(folder) != FileKind::directory) {
            errno = reason == EEXIST ? ENOTDIR : reason;
            return false;
        }
        if (end == std::string::npos) return true;
    }
}

std::optional<std::string> canonicalPath(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
    if (!real) return {};
    return std::string(real.get());
}

std::string plannedPath(const std::string& path)
{
    std::error_code failed;
    const auto planned = std::filesystem::weakly_canonical(std::filesystem::absolute(path, failed), failed);
    return failed ? path : planned.string();
}

bool hasWildcards(const std::string& text) { return text.find_first_of("*?[") != std::string::npos; }

std::vector<std::string> expandWildcards(const std::string& pattern)
{
    const Utf8Matching utf8;
    std::vector<std::string> found(1); // what the components so far stand for, each with its separator
    for (std::size_t at = 0; at < pattern.size();) {
        const std::size_t end = std::min(pattern.find('/', at), pattern.size());
        const std::size_t next = std::min(pattern.find_first_not_of('/', end), pattern.size());
        const std::string component = pattern.substr(at, end - at), separator = pattern.substr(end, next - end);
        const bool last = separator.empty();
        std::vector<std::string> deeper;
        for (const std::string& folder : found)
            for (const std::string& path : component.empty() ? std::vector{folder} : matchesOf(folder, component, last))
                deeper.push_back(path + separator);
        found = std::move(deeper);
        at = next;
    }
    if (pattern.empty()) found.clear();
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace tesk::platform
