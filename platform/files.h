// Files by UTF-8 path: opening, 64-bit positions, identity, and the rename that makes an output appear at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tesk::platform {

/// fopen for a UTF-8 path and mode; null when it fails, with errno set.
std::FILE* open_utf8(const char* path, const char* mode);

struct FileCloser {
    void operator()(std::FILE* file) const
    {
        if (file) std::fclose(file);
    }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

/// 64-bit seek and tell; false or -1 on failure.
bool seek64(std::FILE* file, std::int64_t offset, int origin);
std::int64_t tell64(std::FILE* file);

enum class FileKind { missing, regular, directory, other };

/// What the path names, symbolic links followed.
FileKind fileKind(const std::string& path);

/// Length in bytes of a regular file; nothing when it cannot be asked.
std::optional<std::uint64_t> fileSize(const std::string& path);

/// Whether both paths name one existing file, by whatever links.
bool sameFile(const std::string& a, const std::string& b);

/// The path with every symbolic link of its last component followed, dangling ones too.
std::string resolveLinks(const std::string& path);

/// Whether the existing file may be written to.
bool isWritable(const std::string& path);

/// Creates a file that did not exist, for writing and reading; null with errno otherwise.
std::FILE* createExclusive(const std::string& path);

/// Brings the file's bytes to the medium. False on failure; true where the file cannot be synchronised.
bool syncToMedium(std::FILE* file);

/// Gives `path` the permissions of `model` (an existing file), as far as the system lets us.
void copyPermissions(const std::string& model, const std::string& path);

/// Replaces `to` by `from` in one step.
bool renameOver(const std::string& from, const std::string& to);
bool removeFile(const std::string& path);

/// The characters that part the folders of a path.
inline constexpr std::string_view kPathSeparators = "/";

/// Bytes that a file's name may have, its folders not counted.
std::size_t longestFileName();

/// The system's words for an errno value.
std::string errorText(int error);

} // namespace tesk::platform
