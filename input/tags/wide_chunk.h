// Chunks with a four-letter name and a 64-bit big-endian size, as DSDIFF and CAF have them.
#pragma once

#include "input/chunk_walker.h"
#include "input/tags/tag_text.h"

#include <algorithm>

namespace tesk {

struct WideChunk {
    std::string id;
    std::uint64_t data = 0, size = 0; ///< offset and length of the contents, within the file
};

/// Calls `visit` with every chunk between two offsets. A size beyond `end` reaches up to `end`; a chunk starts at a
/// multiple of `alignment` bytes from the one before it.
template <class Visit>
void walkWideChunks(ByteSource& source, std::uint64_t begin, std::uint64_t end, std::uint64_t alignment, Visit visit)
{
    constexpr std::uint64_t kHeader = 12;
    end = std::min(end, source.size());
    for (int i = 0; i < kMaxChunks && begin < end && end - begin >= kHeader; ++i) {
        const auto head = bytesAt(source, begin, kHeader);
        TagCursor cursor(head, ByteOrder::big);
        WideChunk chunk{std::string(asText(cursor.take(4))), begin + kHeader, cursor.number(8)};
        chunk.size = std::min(chunk.size, end - chunk.data);
        visit(chunk);
        begin = chunk.data + (chunk.size + alignment - 1) / alignment * alignment;
    }
}

} // namespace tesk
