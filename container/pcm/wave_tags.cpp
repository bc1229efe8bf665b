#include "container/pcm/wave_tags.h"

#include "container/id3_tag.h"
#include "engine/base/byte_writer.h"
#include "engine/base/utf8.h"

#include <algorithm>
#include <string>

namespace tesk {
namespace {

struct InfoEntry {
    const char* key;
    std::string text; // UTF-8, without zeros
};

std::vector<InfoEntry> infoEntries(const MetadataRecord& m)
{
    std::vector<InfoEntry> entries;
    if (!m.hasUserField()) return entries;
    const auto add = [&](const char* key, const std::optional<std::string>& value) {
        if (value && !value->empty()) entries.push_back({key, repairUtf8(value->substr(0, value->find('\0')))});
    };
    add("INAM", m.title);
    add("IART", m.artist);
    add("IPRD", m.album);
    add("IGNR", m.genre);
    add("ICRD", m.date);
    add("ICMT", m.comment);
    if (m.track) add("ITRK", std::to_string(*m.track));
    add("ISFT", kEncoderText);
    return entries;
}

void putChunk(ByteWriter& out, const char* id, const std::vector<std::uint8_t>& body)
{
    out.tag(id).u32(static_cast<std::uint32_t>(body.size())).raw(body);
    if (body.size() % 2 != 0) out.u8(0);
}

std::vector<std::uint8_t> utf16(const std::string& text)
{
    ByteWriter out(ByteOrder::little);
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Character c = utf8At(text, at);
        at += std::max<std::size_t>(c.bytes, 1);
        if (c.point < 0x10000) {
            out.u16(static_cast<std::uint16_t>(c.point));
            continue;
        }
        out.u16(static_cast<std::uint16_t>(0xD800 + ((c.point - 0x10000) >> 10)));
        out.u16(static_cast<std::uint16_t>(0xDC00 + (c.point & 0x3FF)));
    }
    out.u16(0);
    return out.take();
}

} // namespace

std::vector<std::uint8_t> riffTags(const MetadataRecord& metadata, Reporter& report)
{
    const std::vector<InfoEntry> entries = infoEntries(metadata);
    if (entries.empty()) return {};
    ByteWriter info(ByteOrder::little);
    info.tag("INFO");
    for (const InfoEntry& entry : entries) {
        std::vector<std::uint8_t> text(entry.text.begin(), entry.text.end());
        text.push_back(0);
        putChunk(info, entry.key, text);
    }
    ByteWriter out(ByteOrder::little);
    putChunk(out, "LIST", info.take());
    putChunk(out, "id3 ", id3Tag(metadata, report, Id3FrameSizes::synchsafe));
    return out.take();
}

std::vector<std::uint8_t> wave64Tags(const MetadataRecord& metadata)
{
    static constexpr std::uint8_t kSummaryList[16] = {0xBC, 0x94, 0x5F, 0x92, 0x5A, 0x52, 0xD2, 0x11,
                                                      0x86, 0xDC, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
    const std::vector<InfoEntry> entries = infoEntries(metadata);
    if (entries.empty()) return {};
    ByteWriter body(ByteOrder::little);
    body.u32(static_cast<std::uint32_t>(entries.size()));
    for (const InfoEntry& entry : entries) {
        const std::vector<std::uint8_t> text = utf16(entry.text);
        body.tag(entry.key).u32(static_cast<std::uint32_t>(text.size())).raw(text);
    }
    ByteWriter out(ByteOrder::little);
    out.raw(kSummaryList).u64(24 + body.size()).raw(body.take());
    while (out.size() % 8 != 0) out.u8(0);
    return out.take();
}

std::array<std::uint8_t, 16> wave64Guid(std::string_view letters)
{
    std::array<std::uint8_t, 16> guid = {0,    0,    0,    0,    0xF3, 0xAC, 0xD3, 0x11,
                                         0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
    std::copy_n(letters.begin(), std::min<std::size_t>(letters.size(), 4), guid.begin());
    return guid;
}

} // namespace tesk
