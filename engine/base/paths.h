// Pieces of a path, by its text alone.
#pragma once

#include <string>
#include <string_view>

namespace tesk {

/// The text after the last point of the path's file name, in lower case (ASCII); empty without a point.
std::string fileExtension(std::string_view path);

/// The path without the last point of its file name and what follows it.
std::string_view withoutExtension(std::string_view path);

/// The path up to its last separator, that one included; empty for a bare file name.
std::string_view folderOf(std::string_view path);

} // namespace tesk
