#include "input/tags/ape_tag.h"

#include "input/tags/id3v2_tag.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::size_t kFooterBytes = 32;
constexpr std::size_t kId3v1Bytes = 128;

std::vector<std::uint8_t> id3v1Bytes(ByteSource& source)
{
    if (source.size() < kId3v1Bytes) return {};
    auto bytes = bytesAt(source, source.size() - kId3v1Bytes, kId3v1Bytes);
    return asText(bytes).starts_with("TAG") ? bytes : std::vector<std::uint8_t>{};
}

/// Where the tag's items stand, and how many there are said to be.
struct ApeItems {
    std::uint64_t offset = 0, bytes = 0;
    std::uint32_t count = 0;
};

/// What the footer that ends at `end` says; no items when there is none or it cannot be true.
ApeItems itemsBefore(ByteSource& source, std::uint64_t end)
{
    if (end < kFooterBytes) return {};
    const auto footer = bytesAt(source, end - kFooterBytes, kFooterBytes);
    TagCursor cursor(footer, ByteOrder::little);
    if (asText(cursor.take(8)) != "APETAGEX") return {};
    const std::uint32_t version = cursor.u32();
    const std::uint32_t size = cursor.u32(); // items and footer, without the header
    const std::uint32_t count = cursor.u32();
    const bool isHeader = (cursor.u32() & 0x20000000u) != 0;
    if (cursor.failed() || isHeader || (version != 1000 && version != 2000)) return {};
    if (size < kFooterBytes || size > end) return {};
    return {end - size, size - kFooterBytes, count};
}

void addItem(TagSet& tags, std::string_view key, unsigned kind, TagBytes value)
{
    std::string name(key);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    if (name.starts_with("cover art (")) {
        TagCursor picture(value, ByteOrder::little);
        picture.terminated(); // the picture's file name
        addPicture(tags, picture.rest(), name == "cover art (front)");
    } else if (kind == 0) {
        addText(tags, key, asText(value));
    }
}

/// A field of ID3v1, filled with zeros or blanks.
std::string field(TagCursor& cursor, std::size_t size)
{
    std::string_view text = asText(cursor.take(size));
    text = text.substr(0, text.find('\0'));
    while (text.ends_with(' ')) text.remove_suffix(1);
    return textOfUnknownEncoding(text);
}

} // namespace

void readApeTag(ByteSource& source, TagSet& tags)
{
    ApeItems items = itemsBefore(source, source.size());
    if (items.bytes == 0 && !id3v1Bytes(source).empty()) items = itemsBefore(source, source.size() - kId3v1Bytes);
    const auto bytes = bytesAt(source, items.offset, items.bytes);
    TagCursor cursor(bytes, ByteOrder::little);
    for (std::uint32_t i = 0; i < items.count && !cursor.rest().empty(); ++i) {
        const std::uint32_t size = cursor.u32();
        const unsigned kind = cursor.u32() >> 1 & 3; // 0 text, 1 binary, 2 link
        const TagBytes key = cursor.terminated();
        const TagBytes value = cursor.take(size);
        if (cursor.failed() || key.size() < 2) return;
        addItem(tags, asText(key), kind, value);
    }
}

void readId3v1(ByteSource& source, TagSet& tags)
{
    const auto bytes = id3v1Bytes(source);
    if (bytes.empty()) return;
    TagCursor cursor(TagBytes(bytes).subspan(3), ByteOrder::big);
    for (const char* name : {"TITLE", "ARTIST", "ALBUM"}) addText(tags, name, field(cursor, 30));
    addText(tags, "DATE", field(cursor, 4));
    addText(tags, "COMMENT", field(cursor, 30));
    // Version 1.1: the comment is two bytes shorter, a zero and the track number stand behind it.
    if (bytes[125] == 0 && bytes[126] != 0) addText(tags, "TRACK", std::to_string(bytes[126]));
    addText(tags, "GENRE", genreName(bytes[127]));
}

} // namespace tesk
