#include "input/tags/chunk_tags.h"

#include "input/chunk_walker.h"
#include "input/tags/id3v2_tag.h"

#include <array>

namespace tesk {
namespace {

constexpr std::array kInfoTexts = {
    TagName{"INAM", "TITLE"}, TagName{"IART", "ARTIST"},  TagName{"IPRD", "ALBUM"}, TagName{"IGNR", "GENRE"},
    TagName{"ICRD", "DATE"},  TagName{"ICMT", "COMMENT"}, TagName{"IPRT", "TRACK"}, TagName{"ITRK", "TRACK"},
};
constexpr std::array kAiffTexts = {
    TagName{"NAME", "TITLE"},
    TagName{"AUTH", "ARTIST"},
    TagName{"ANNO", "COMMENT"},
};

/// The size that a "data" chunk of 0xFFFFFFFF bytes really has.
std::uint64_t ds64DataBytes(ByteSource& source, const Chunk& ds64)
{
    return numberAt(source, ds64.dataOffset + 8, 8, ByteOrder::little).value_or(0);
}

/// Calls `visit` with every chunk of the file.
template <class Visit>
void walkChunks(ByteSource& source, AudioKind kind, Visit visit)
{
    const bool isAiff = kind == AudioKind::aiff || kind == AudioKind::aifc;
    std::uint8_t first = 0;
    source.readAt(3, &first, 1); // "RIFX"
    const ChunkLayout layout{isAiff || first == 'X' ? ByteOrder::big : ByteOrder::little, kind == AudioKind::wave64};
    std::uint64_t offset = layout.wave64 ? 40 : 12, dataBytes = 0;
    for (int i = 0; i < kMaxChunks; ++i) {
        auto chunk = chunkAt(source, offset, layout);
        if (!chunk) return;
        if (chunk->id == "ds64") dataBytes = ds64DataBytes(source, *chunk);
        if (chunk->id == "data" && chunk->size == 0xFFFFFFFF && dataBytes > 0) chunk->size = dataBytes;
        visit(*chunk, layout.order);
        offset = nextChunk(source, *chunk, layout);
    }
}

/// The texts of a LIST chunk of the kind INFO.
void addInfo(TagBytes list, ByteOrder order, TagSet& tags)
{
    TagCursor cursor(list, order);
    if (asText(cursor.take(4)) != "INFO") return;
    while (!cursor.failed()) {
        const std::string_view id = asText(cursor.take(4));
        const std::uint32_t size = cursor.u32();
        const TagBytes text = cursor.take(size);
        for (const TagName& known : kInfoTexts)
            if (id == known.own)
                addText(tags, known.canonical, textOfUnknownEncoding(asText(TagCursor(text, order).terminated())));
        if (size % 2 != 0 && !cursor.rest().empty()) cursor.take(1);
    }
}

} // namespace

void readChunkTags(ByteSource& source, AudioKind kind, TagSet& tags)
{
    bool found = false; // one tag is enough
    walkChunks(source, kind, [&](const Chunk& chunk, ByteOrder) {
        if (!found && (chunk.id == "ID3 " || chunk.id == "id3 "))
            found = readId3v2At(source, chunk.dataOffset, chunk.size, tags);
    });
    walkChunks(source, kind, [&](const Chunk& chunk, ByteOrder order) {
        if (chunk.id == "LIST" || chunk.id == "list")
            addInfo(bytesAt(source, chunk.dataOffset, chunk.size), order, tags);
        for (const TagName& known : kAiffTexts)
            if (chunk.id == known.own)
                addText(tags, known.canonical,
                        textOfUnknownEncoding(asText(bytesAt(source, chunk.dataOffset, chunk.size))));
    });
}

} // namespace tesk
