#include "input/tags/dsd_tags.h"

#include "input/tags/id3v2_tag.h"
#include "input/tags/wide_chunk.h"

#include <array>
#include <utility>

namespace tesk {
namespace {

constexpr std::uint64_t kFormHeader = 16; // "FRM8", its size, "DSD "

template <class Visit>
void walkForm(ByteSource& source, Visit visit)
{
    walkWideChunks(source, kFormHeader, source.size(), 2, visit);
}

/// DIAR or DITI: a length and the text.
std::string lengthAndText(ByteSource& source, const WideChunk& chunk)
{
    const auto bytes = bytesAt(source, chunk.data, chunk.size);
    TagCursor cursor(bytes, ByteOrder::big);
    return textOfUnknownEncoding(asText(cursor.take(cursor.u32())));
}

void addMasterInformation(ByteSource& source, const WideChunk& chunk, TagSet& tags)
{
    walkWideChunks(source, chunk.data, chunk.data + chunk.size, 2, [&](const WideChunk& part) {
        if (part.id == "DIAR") addText(tags, "ARTIST", lengthAndText(source, part));
        if (part.id == "DITI") addText(tags, "TITLE", lengthAndText(source, part));
    });
}

/// Some writers put every field into a comment of its own, with a label in front.
void addComment(const std::string& text, TagSet& tags)
{
    constexpr std::array<std::pair<std::string_view, const char*>, 7> labels = {{{"Title: ", "TITLE"},
                                                                                 {"Artist: ", "ARTIST"},
                                                                                 {"Album: ", "ALBUM"},
                                                                                 {"Genre: ", "GENRE"},
                                                                                 {"Year: ", "DATE"},
                                                                                 {"Comment: ", "COMMENT"},
                                                                                 {"Track: ", "TRACK"}}};
    for (const auto& [label, name] : labels)
        if (text.starts_with(label)) return addText(tags, name, std::string_view(text).substr(label.size()));
    addText(tags, "COMMENT", text);
}

void addComments(TagBytes chunk, TagSet& tags)
{
    TagCursor cursor(chunk, ByteOrder::big);
    const std::uint32_t count = cursor.u16();
    for (std::uint32_t i = 0; i < count && !cursor.failed(); ++i) {
        cursor.take(6); // year, month, day, hour, minute
        const std::uint32_t type = cursor.u16();
        cursor.u16(); // reference
        const std::uint32_t size = cursor.u32();
        const TagBytes text = cursor.take(size);
        if (type == 0 && !cursor.failed()) addComment(textOfUnknownEncoding(asText(text)), tags);
        if (size % 2 != 0 && !cursor.rest().empty()) cursor.take(1);
    }
}

} // namespace

void readDsfTags(ByteSource& source, TagSet& tags)
{
    const auto header = bytesAt(source, 0, 28);
    TagCursor cursor(header, ByteOrder::little);
    cursor.take(20);
    const std::uint64_t pointer = cursor.number(8);
    if (pointer > 0) readId3v2At(source, pointer, source.size(), tags);
}

void readDsdiffTags(ByteSource& source, TagSet& tags)
{
    bool found = false; // one tag is enough
    const auto takeTag = [&](const WideChunk& chunk) {
        if (!found && chunk.id == "ID3 ") found = readId3v2At(source, chunk.data, chunk.size, tags);
    };
    walkForm(source, [&](const WideChunk& chunk) {
        takeTag(chunk);
        if (chunk.id == "PROP") walkWideChunks(source, chunk.data + 4, chunk.data + chunk.size, 2, takeTag);
    });
    walkForm(source, [&](const WideChunk& chunk) {
        if (chunk.id == "DIIN") addMasterInformation(source, chunk, tags);
        if (chunk.id == "COMT") addComments(bytesAt(source, chunk.data, chunk.size), tags);
    });
}

} // namespace tesk
