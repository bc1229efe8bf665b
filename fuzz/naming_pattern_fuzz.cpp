// A naming pattern, and behind a line feed the input's stem: what passes the checks stays below the output directory.
#include "engine/batch/naming.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::size_t line = text.find('\n');
    const std::string pattern = text.substr(0, line);
    std::string stem = line == std::string::npos ? "song" : text.substr(line + 1);
    std::erase_if(stem, [](char c) { return c == '/' || c == '\0'; }); // no file name has either
    for (const std::string& unknown : tesk::unknownVariables(pattern))
        if (pattern.find(unknown) == std::string::npos || unknown.front() != '{') std::abort();
    if (!tesk::checkPattern(pattern).empty()) return 0;
    const std::string path = tesk::expandPattern(pattern, {stem, "dsf", 12});
    if (!tesk::checkExpanded(path).empty()) return 0;
    const auto normal = ("/out/" + path);
    const std::string where = std::filesystem::path(normal).lexically_normal().string();
    if (!where.starts_with("/out/") || where.size() <= 5 || path.find('\0') != std::string::npos) std::abort();
    return 0;
}
