#include "engine/batch/naming.h"

#include "engine/base/paths.h"
#include "engine/base/reporter.h"
#include "platform/files.h"

#include <algorithm>
#include <charconv>
#include <functional>

namespace tesk {
namespace {

enum class Piece { text, input, extension, track, badWidth, unknown };

constexpr std::string_view kTrackHead = "{track:";

/// N of {track:N}, at most two digits; nothing when it is no such number.
std::optional<int> trackWidth(std::string_view variable)
{
    const std::string_view digits = variable.substr(kTrackHead.size(), variable.size() - kTrackHead.size() - 1);
    int width = 0;
    const auto [end, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), width);
    const bool whole = fault == std::errc() && end == digits.data() + digits.size();
    return whole && digits.size() <= 2 && width >= 1 ? std::optional(width) : std::nullopt;
}

/// The piece at the start of a text that is not empty, and its length in bytes.
std::pair<Piece, std::size_t> nextPiece(std::string_view text)
{
    if (text.front() != '{') return {Piece::text, std::min(text.find('{'), text.size())};
    const std::size_t close = text.find('}');
    if (close == std::string_view::npos) return {Piece::unknown, text.size()};
    const std::string_view variable = text.substr(0, close + 1);
    if (variable == "{input}") return {Piece::input, variable.size()};
    if (variable == "{ext}") return {Piece::extension, variable.size()};
    if (variable == "{track}") return {Piece::track, variable.size()};
    if (variable.starts_with(kTrackHead)) {
        return {trackWidth(variable) ? Piece::track : Piece::badWidth, variable.size()};
    }
    // What stands in front of a brace within is text: "{{input}}" has a variable in braces.
    return {Piece::unknown, std::min(text.find('{', 1), variable.size())};
}

void forEachPiece(std::string_view pattern, const std::function<void(Piece, std::string_view)>& visit)
{
    while (!pattern.empty()) {
        const auto [piece, length] = nextPiece(pattern);
        visit(piece, pattern.substr(0, length));
        pattern.remove_prefix(length);
    }
}

bool has(std::string_view pattern, Piece wanted)
{
    bool found = false;
    forEachPiece(pattern, [&](Piece piece, std::string_view) { found = found || piece == wanted; });
    return found;
}

std::string trackText(std::string_view variable, std::size_t track)
{
    const int width = variable.starts_with(kTrackHead) ? trackWidth(variable).value_or(1) : 1;
    return format("%0*zu", width, track);
}

bool isSeparator(char c) { return platform::kPathSeparators.find(c) != std::string_view::npos; }

/// Whether a folder or the name itself is "..".
bool climbs(std::string_view path)
{
    while (true) {
        const std::size_t end = std::min(path.find_first_of(platform::kPathSeparators), path.size());
        if (path.substr(0, end) == "..") return true;
        if (end == path.size()) return false;
        path.remove_prefix(end + 1);
    }
}

} // namespace

std::string checkPattern(std::string_view pattern)
{
    if (pattern.find('\0') != std::string_view::npos) return "the naming pattern has a zero byte; leave it out";
    const std::string quoted = "the naming pattern \"" + std::string(pattern) + "\" ";
    if (pattern.substr(folderOf(pattern).size()).empty())
        return quoted + "leaves the file without a name; put {input} or {track} at its end";
    if (isSeparator(pattern.front()))
        return quoted + "begins at the root of the file system; name the folder with --outdir";
    if (climbs(pattern)) return quoted + "leaves the output directory by \"..\"; name the folder with --outdir";
    if (has(pattern, Piece::badWidth)) return quoted + "has a {track:N} whose N is no number from 1 to 99";
    return {};
}

std::string expandPattern(std::string_view pattern, const NameParts& parts)
{
    std::string path;
    bool extended = false;
    forEachPiece(pattern, [&](Piece piece, std::string_view text) {
        extended = extended || piece == Piece::extension;
        switch (piece) {
        case Piece::input: path += parts.input; break;
        case Piece::extension: path += parts.extension; break;
        case Piece::track: path += trackText(text, parts.track); break;
        default: path += text; break;
        }
    });
    return extended ? path : path + "." + parts.extension;
}

std::string checkExpanded(std::string_view path)
{
    const std::string quoted = "the name \"" + std::string(path) + "\" ";
    if (path.empty() || isSeparator(path.front()) || climbs(path))
        return quoted + "leaves the output directory; change the naming pattern";
    const std::size_t longest = platform::longestFileName();
    for (std::size_t at = 0; at <= path.size();) {
        const std::size_t end = std::min(path.find_first_of(platform::kPathSeparators, at), path.size());
        if (end - at > longest)
            return quoted + format("has a part of %zu bytes, and the system takes %zu; change the naming pattern",
                                   end - at, longest);
        at = end + 1;
    }
    const std::string_view name = path.substr(folderOf(path).size());
    if (withoutExtension(name).empty())
        return quoted + "has nothing in front of its extension; change the naming pattern";
    return {};
}

std::vector<std::string> unknownVariables(std::string_view pattern)
{
    std::vector<std::string> unknown;
    forEachPiece(pattern, [&](Piece piece, std::string_view text) {
        if (piece == Piece::unknown) unknown.emplace_back(text);
    });
    return unknown;
}

} // namespace tesk
