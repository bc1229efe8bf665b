#include "input/tags/vorbis_tags.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace tesk {
namespace {

constexpr unsigned kCommentBlock = 4, kPictureBlock = 6;
constexpr int kMostBlocks = 1024; // of one FLAC stream

/// The picture block of FLAC, which the comments carry too.
void addFlacPicture(TagBytes block, TagSet& tags)
{
    TagCursor cursor(block, ByteOrder::big);
    const std::uint32_t purpose = cursor.u32();
    const TagBytes type = cursor.take(cursor.u32());
    cursor.take(cursor.u32()); // description
    cursor.take(16);           // width, height, depth, colours
    const TagBytes image = cursor.take(cursor.u32());
    if (!cursor.failed() && asText(type) != "-->") addPicture(tags, image, purpose == 3);
}

/// Up to the first character that is none of base64's.
std::vector<std::uint8_t> fromBase64(std::string_view text)
{
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::vector<std::uint8_t> bytes;
    std::uint32_t collected = 0;
    int bits = 0;
    for (const char c : text) {
        const std::size_t digit = kDigits.find(c);
        if (digit == std::string_view::npos) break;
        collected = collected << 6 | static_cast<std::uint32_t>(digit);
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes.push_back(static_cast<std::uint8_t>(collected >> bits));
    }
    return bytes;
}

void addComments(TagBytes block, TagSet& tags)
{
    TagCursor cursor(block, ByteOrder::little);
    cursor.take(cursor.u32()); // the writer's name
    const std::uint32_t count = cursor.u32();
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::string_view comment = asText(cursor.take(cursor.u32()));
        if (cursor.failed()) return;
        const std::size_t equals = comment.find('=');
        if (equals == std::string_view::npos) continue;
        const std::string_view name = comment.substr(0, equals), value = comment.substr(equals + 1);
        if (name == "METADATA_BLOCK_PICTURE" || name == "metadata_block_picture")
            addFlacPicture(fromBase64(value), tags);
        else
            addText(tags, name, value);
    }
}

void addFlacBlock(unsigned type, TagBytes block, TagSet& tags)
{
    if (type == kCommentBlock) addComments(block, tags);
    if (type == kPictureBlock) addFlacPicture(block, tags);
}

/// Collects the packets of the first logical stream of an Ogg file.
class OggPackets {
public:
    explicit OggPackets(TagBytes file) : cursor_(file, ByteOrder::little) {}

    /// The next packet; empty when there is no whole one.
    std::vector<std::uint8_t> next()
    {
        std::vector<std::uint8_t> packet;
        for (;;) {
            while (lacing_.empty())
                if (!openPage()) return {};
            const std::uint8_t size = lacing_.front();
            lacing_ = lacing_.subspan(1);
            const TagBytes segment = body_.first(std::min<std::size_t>(size, body_.size()));
            body_ = body_.subspan(segment.size());
            packet.insert(packet.end(), segment.begin(), segment.end());
            if (size < 255) return packet; // a packet ends with the first segment that is not full
        }
    }

private:
    /// The next page of the stream; pages of other streams are passed.
    bool openPage()
    {
        for (;;) {
            if (asText(cursor_.take(4)) != "OggS") return false;
            cursor_.take(10); // version, flags, position
            const std::uint32_t serial = cursor_.u32();
            cursor_.take(8); // page number, checksum
            lacing_ = cursor_.take(cursor_.number(1));
            std::uint64_t bytes = 0;
            for (const std::uint8_t size : lacing_) bytes += size;
            body_ = cursor_.take(bytes);
            if (cursor_.failed()) {
                lacing_ = {};
                return false;
            }
            if (!serial_) serial_ = serial;
            if (*serial_ == serial) return true;
            lacing_ = {};
        }
    }

    TagCursor cursor_;
    TagBytes lacing_, body_; // what is left of the page
    std::optional<std::uint32_t> serial_;
};

/// The metadata blocks behind the first packet of FLAC in Ogg; each has a packet of its own.
void addOggFlacBlocks(OggPackets& packets, TagSet& tags)
{
    for (int i = 0; i < kMostBlocks; ++i) {
        const auto packet = packets.next();
        if (packet.size() < 4 || packet[0] == 0xFF) return; // 0xFF starts an audio frame
        addFlacBlock(packet[0] & 0x7Fu, TagBytes(packet).subspan(4), tags);
        if (packet[0] & 0x80u) return;
    }
}

} // namespace

void readFlacTags(ByteSource& source, std::uint64_t offset, TagSet& tags)
{
    offset += 4; // "fLaC"
    for (int i = 0; i < kMostBlocks; ++i) {
        const auto head = bytesAt(source, offset, 4);
        if (head.size() < 4) return;
        const unsigned type = head[0] & 0x7Fu;
        const std::uint32_t size = static_cast<std::uint32_t>(head[1]) << 16 | head[2] << 8u | head[3];
        if (type == kCommentBlock || type == kPictureBlock) addFlacBlock(type, bytesAt(source, offset + 4, size), tags);
        if (head[0] & 0x80u) return; // the last one
        offset += 4 + size;
    }
}

void readOggTags(ByteSource& source, std::uint64_t offset, TagSet& tags)
{
    const auto file = bytesAt(source, offset, kLargestTagBlock);
    OggPackets packets(file);
    const auto first = packets.next();
    const std::string_view kind = asText(first);
    if (kind.starts_with('\x7F') && kind.substr(1).starts_with("FLAC")) return addOggFlacBlocks(packets, tags);
    const auto second = packets.next();
    const TagBytes comments(second);
    for (const auto& [start, mark] : {std::pair<std::string_view, std::string_view>{"\x01vorbis", "\x03vorbis"},
                                      {"OpusHead", "OpusTags"},
                                      {"Speex   ", ""}})
        if (kind.starts_with(start) && asText(comments).starts_with(mark))
            addComments(comments.subspan(mark.size()), tags);
}

} // namespace tesk
