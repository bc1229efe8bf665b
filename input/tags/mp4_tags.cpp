#include "input/tags/mp4_tags.h"

#include "engine/base/reporter.h"
#include "input/chunk_walker.h"
#include "input/tags/id3v2_tag.h"

#include <array>

namespace tesk {
namespace {

/// Without the copyright sign (0xA9) that starts most of them.
constexpr std::array kTextItems = {
    TagName{"nam", "TITLE"},   TagName{"ART", "ARTIST"},   TagName{"alb", "ALBUM"},
    TagName{"gen", "GENRE"},   TagName{"day", "DATE"},     TagName{"wrk", "WORK"},
    TagName{"cmt", "COMMENT"}, TagName{"wrt", "COMPOSER"}, TagName{"aART", "ALBUMARTIST"},
};

/// Bytes of the file from `begin` to `end`.
struct Range {
    std::uint64_t begin, end;
};

struct Atom {
    std::string name;
    Range data;
    std::uint64_t next; // always behind its header
};

std::optional<Atom> atomAt(ByteSource& source, Range range)
{
    if (range.end < range.begin || range.end - range.begin < 8) return {};
    const auto head = bytesAt(source, range.begin, 16);
    TagCursor cursor(head, ByteOrder::big);
    std::uint64_t size = cursor.u32(), header = 8;
    std::string name(asText(cursor.take(4)));
    if (size == 1) {
        size = cursor.number(8);
        header = 16;
    }
    if (cursor.failed()) return {};
    const std::uint64_t left = range.end - range.begin;
    if (size == 0) size = left; // up to the end
    if (size < header || size > left) return {};
    return Atom{std::move(name), {range.begin + header, range.begin + size}, range.begin + size};
}

std::optional<Range> child(ByteSource& source, Range parent, std::string_view name)
{
    for (int i = 0; i < kMaxChunks; ++i) {
        const auto atom = atomAt(source, parent);
        if (!atom) return {};
        if (atom->name == name) return atom->data;
        parent.begin = atom->next;
    }
    return {};
}

/// Bytes of an atom behind the fields of `skipped` bytes that start it.
std::vector<std::uint8_t> contentOf(ByteSource& source, Range data, std::uint64_t skipped)
{
    if (data.end - data.begin < skipped) return {};
    return bytesAt(source, data.begin + skipped, data.end - data.begin - skipped);
}

constexpr std::uint64_t kValueHeader = 8; // type and locale of a "data" atom
constexpr std::uint64_t kNameHeader = 4;  // version and flags of a "name" atom

void addCovers(ByteSource& source, Range item, TagSet& tags)
{
    for (std::size_t i = 0; i < kMostPictures; ++i) {
        const auto atom = atomAt(source, item);
        if (!atom) return;
        if (atom->name == "data") addPicture(tags, contentOf(source, atom->data, kValueHeader), i == 0);
        item.begin = atom->next;
    }
}

std::string trackText(TagBytes value)
{
    TagCursor cursor(value, ByteOrder::big);
    cursor.u16(); // reserved
    const std::uint32_t number = cursor.u16(), total = cursor.u16();
    if (number == 0) return {};
    return total > 0 ? format("%u/%u", number, total) : format("%u", number);
}

void addItem(ByteSource& source, const Atom& item, TagSet& tags)
{
    if (item.name == "covr") return addCovers(source, item.data, tags);
    const auto data = child(source, item.data, "data");
    if (!data) return;
    const auto value = contentOf(source, *data, kValueHeader);
    if (item.name == "----") {
        if (const auto name = child(source, item.data, "name"))
            addText(tags, asText(contentOf(source, *name, kNameHeader)), asText(value));
    } else if (item.name == "trkn") {
        addText(tags, "TRACK", trackText(value));
    } else if (item.name == "gnre" && value.size() >= 2) {
        addText(tags, "GENRE", genreName((value[0] << 8u | value[1]) - 1u)); // ID3's numbers plus 1
    } else {
        std::string_view name = item.name;
        if (name.starts_with('\xA9')) name.remove_prefix(1);
        for (const TagName& known : kTextItems)
            if (name == known.own) addText(tags, known.canonical, asText(value));
    }
}

} // namespace

void readMp4Tags(ByteSource& source, std::uint64_t offset, TagSet& tags)
{
    std::optional<Range> range = Range{offset, source.size()};
    for (const char* name : {"moov", "udta", "meta"})
        if (range) range = child(source, *range, name);
    if (!range) return;
    // The box has version and flags in front by ISO's reading, none by QuickTime's: its first child tells.
    const auto isList = [&](Range meta) { return child(source, meta, "ilst"); };
    auto list = isList({range->begin + 4, range->end});
    if (!list) list = isList(*range);
    for (int i = 0; list && i < kMaxChunks; ++i) {
        const auto item = atomAt(source, *list);
        if (!item) return;
        addItem(source, *item, tags);
        list->begin = item->next;
    }
}

} // namespace tesk
