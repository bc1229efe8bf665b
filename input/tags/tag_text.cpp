#include "input/tags/tag_text.h"

#include "engine/base/metadata.h"
#include "input/tags/legacy_text.h"

#include <algorithm>

namespace tesk {
namespace {

std::string canonicalName(std::string_view name)
{
    std::string upper;
    for (const char c : name) upper += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    return upper == "TRACKNUMBER" || upper == "TRCK" || upper == "TRKN" ? "TRACK" : upper;
}

} // namespace

std::string cleanText(std::string_view text)
{
    text = text.substr(0, std::min(text.find('\0'), 4 * kLongestText)); // a bound on the work, far behind the cut
    std::string clean;
    for (std::size_t at = 0; at < text.size();) {
        const auto [point, bytes] = utf8At(text, at);
        const bool lineEnd = point == '\r' && !text.substr(at).starts_with("\r\n");
        if (lineEnd)
            clean += '\n';
        else if (!isControl(point) || point == '\t' || point == '\n')
            appendUtf8(clean, point);
        at += bytes == 0 ? 1 : bytes;
    }
    if (clean.size() > kLongestText) clean = withoutBrokenEnd(std::string_view(clean).substr(0, kLongestText));
    return clean;
}

std::string textOfUnknownEncoding(std::string_view text)
{
    return isUtf8(text) ? std::string(text) : windows1252ToUtf8(text);
}

void addText(TagSet& tags, std::string_view name, std::string_view value)
{
    const bool printable = std::all_of(name.begin(), name.end(), [](char c) { return c >= ' ' && c <= '~'; });
    if (name.empty() || name.size() > 255 || !printable || tags.texts.size() >= kMostTexts) return;
    std::string text = cleanText(value);
    if (text.empty()) return;
    const std::string canonical = canonicalName(name);
    takeReplayGainTag(canonical, text, tags.replayGain);
    tags.texts.emplace(canonical, std::move(text));
}

void addPicture(TagSet& tags, TagBytes image, bool frontCover)
{
    if (tags.pictures.size() >= kMostPictures) return;
    image = image.first(std::min(image.size(), kLargestCover + 1));
    tags.pictures.push_back({{image.begin(), image.end()}, frontCover});
}

void settleNames(TagSet& tags)
{
    const auto settle = [&](const char* name, const char* second) {
        const auto found = tags.texts.find(second);
        if (found == tags.texts.end() || tags.texts.contains(name)) return;
        tags.texts.emplace(name, std::move(found->second));
        tags.texts.erase(found);
    };
    settle("DATE", "YEAR");
    settle("COMMENT", "DESCRIPTION");
}

std::vector<std::uint8_t> bytesAt(ByteSource& source, std::uint64_t offset, std::uint64_t size)
{
    if (offset >= source.size()) return {};
    const std::uint64_t there = std::min<std::uint64_t>({size, source.size() - offset, kLargestTagBlock});
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(there));
    bytes.resize(source.readAt(offset, bytes.data(), bytes.size()));
    return bytes;
}

TagBytes TagCursor::terminated()
{
    const auto end = std::find(rest_.begin(), rest_.end(), 0);
    const auto length = static_cast<std::size_t>(end - rest_.begin());
    const TagBytes text = take(length);
    if (!rest_.empty()) take(1);
    return text;
}

} // namespace tesk
