// Folders by UTF-8 path: what they hold, making them, and names with wildcards.
#pragma once

#include "platform/files.h"

#include <optional>
#include <string>
#include <vector>

namespace tesk::platform {

struct FolderEntry {
    std::string name;
    FileKind kind = FileKind::missing; ///< symbolic links followed; missing for a link that leads nowhere
};

/// Everything in the folder but "." and "..", in byte order of the names. Nothing, with errno set, when it cannot be
/// read.
std::optional<std::vector<FolderEntry>> listFolder(const std::string& path);

/// Makes the folder and those above it; one that exists is fine. False with errno set.
bool makeFolders(const std::string& path);

/// The one absolute path behind all links, "." and ".."; nothing when the path names nothing.
std::optional<std::string> canonicalPath(const std::string& path);

/// The absolute path of what may not be there yet: links of what exists are followed, "." and ".." taken out.
std::string plannedPath(const std::string& path);

/// Whether the text has a character that a pattern gives a meaning: * ? [
bool hasWildcards(const std::string& text);

/// The existing paths that the pattern stands for, in byte order; none when nothing fits.
///
/// Every component may be a pattern: * is any text, ? any character, [a-z] and [!a-z] one of a set. A component that
/// exists as it is written is that file or folder and no pattern. A leading point is matched only by a point.
std::vector<std::string> expandWildcards(const std::string& pattern);

} // namespace tesk::platform
