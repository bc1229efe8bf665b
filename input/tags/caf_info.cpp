#include "input/tags/caf_info.h"

#include "input/tags/wide_chunk.h"

namespace tesk {
namespace {

/// The format's own names for what the set calls otherwise.
const char* knownName(std::string_view key)
{
    if (key == "track number") return "TRACK";
    if (key == "comments") return "COMMENT";
    if (key == "recorded date" || key == "year") return "YEAR";
    return nullptr;
}

void addInfo(TagBytes chunk, TagSet& tags)
{
    TagCursor cursor(chunk, ByteOrder::big);
    const std::uint32_t count = cursor.u32();
    for (std::uint32_t i = 0; i < count && !cursor.rest().empty(); ++i) {
        const std::string_view key = asText(cursor.terminated());
        const std::string_view value = asText(cursor.terminated());
        const char* const name = knownName(key);
        addText(tags, name ? name : key, value);
    }
}

} // namespace

void readCafInfo(ByteSource& source, TagSet& tags)
{
    constexpr std::uint64_t kFileHeader = 8;
    walkWideChunks(source, kFileHeader, source.size(), 1, [&](const WideChunk& chunk) {
        if (chunk.id == "info") addInfo(bytesAt(source, chunk.data, chunk.size), tags);
    });
}

} // namespace tesk
