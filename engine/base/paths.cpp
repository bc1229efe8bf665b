#include "engine/base/paths.h"

#include "platform/files.h"

namespace tesk {
namespace {

std::size_t nameStart(std::string_view path) { return path.find_last_of(platform::kPathSeparators) + 1; }

/// Where the file name's last point stands; npos without one.
std::size_t lastPoint(std::string_view path)
{
    const std::size_t point = path.find_last_of('.');
    return point == std::string_view::npos || point < nameStart(path) ? std::string_view::npos : point;
}

} // namespace

std::string fileExtension(std::string_view path)
{
    const std::size_t point = lastPoint(path);
    if (point == std::string_view::npos) return {};
    std::string extension(path.substr(point + 1));
    for (char& c : extension)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return extension;
}

std::string_view withoutExtension(std::string_view path) { return path.substr(0, lastPoint(path)); }

std::string_view folderOf(std::string_view path) { return path.substr(0, nameStart(path)); }

} // namespace tesk
