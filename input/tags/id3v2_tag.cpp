#include "input/tags/id3v2_tag.h"

#include "engine/base/reporter.h"
#include "input/tags/legacy_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace tesk {
namespace {

struct FrameName {
    std::string_view id, oldId; // of versions 2.3 and 2.4, and of 2.2
    const char* name;
};

constexpr std::array kTextFrames = {
    FrameName{"TIT2", "TT2", "TITLE"},       FrameName{"TPE1", "TP1", "ARTIST"},
    FrameName{"TALB", "TAL", "ALBUM"},       FrameName{"TCON", "TCO", "GENRE"},
    FrameName{"TDRC", "", "DATE"},           FrameName{"TRCK", "TRK", "TRACK"},
    FrameName{"TIT1", "TT1", "WORK"},        FrameName{"TCOM", "TCM", "COMPOSER"},
    FrameName{"TPE2", "TP2", "ALBUMARTIST"}, FrameName{"TPOS", "TPA", "DISCNUMBER"},
};

constexpr std::size_t kHeaderBytes = 10; // of a tag, and of a frame since version 2.3

std::uint32_t synchsafe(std::uint32_t raw)
{
    return (raw >> 24 & 0x7F) << 21 | (raw >> 16 & 0x7F) << 14 | (raw >> 8 & 0x7F) << 7 | (raw & 0x7F);
}

/// Takes the zero out again that keeps "FF Ex" from looking like an MPEG frame.
std::vector<std::uint8_t> withoutUnsynchronisation(TagBytes bytes)
{
    std::vector<std::uint8_t> out;
    out.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out.push_back(bytes[i]);
        if (bytes[i] == 0xFF && i + 1 < bytes.size() && bytes[i + 1] == 0) ++i;
    }
    return out;
}

/// A text in one of ID3's four encodings.
class EncodedText {
public:
    explicit EncodedText(std::uint64_t encoding) : encoding_(encoding) {}

    /// The text up to its terminator, which is passed as well; the rest when there is none.
    TagBytes terminated(TagCursor& cursor) const
    {
        if (!isWide()) return cursor.terminated();
        const TagBytes all = cursor.rest();
        for (std::size_t i = 0; i + 1 < all.size(); i += 2)
            if (all[i] == 0 && all[i + 1] == 0) {
                const TagBytes text = cursor.take(i);
                cursor.take(2);
                return text;
            }
        return cursor.take(all.size());
    }

    std::string utf8(TagBytes text) const
    {
        const std::string_view bytes = asText(text);
        // Writers of "Latin-1" mean Windows-1252, which fills Latin-1's control characters with letters.
        if (!isWide()) return encoding_ == 0 ? windows1252ToUtf8(bytes) : std::string(bytes);
        if (bytes.starts_with("\xFE\xFF")) return utf16ToUtf8(bytes.substr(2), ByteOrder::big);
        if (bytes.starts_with("\xFF\xFE")) return utf16ToUtf8(bytes.substr(2), ByteOrder::little);
        return utf16ToUtf8(bytes, encoding_ == 2 ? ByteOrder::big : ByteOrder::little);
    }

    std::string next(TagCursor& cursor) const { return utf8(terminated(cursor)); }

private:
    bool isWide() const { return encoding_ == 1 || encoding_ == 2; }

    std::uint64_t encoding_; // 0 Latin-1, 1 UTF-16 with a byte order mark, 2 UTF-16BE, 3 UTF-8
};

class Id3v2Reader {
public:
    Id3v2Reader(unsigned version, TagSet& tags) : version_(version), tags_(tags) {}

    void readFrames(TagBytes bytes)
    {
        const auto last = std::find_if(bytes.rbegin(), bytes.rend(), [](std::uint8_t byte) { return byte != 0; });
        paddingBytes_ = static_cast<std::size_t>(last - bytes.rbegin());
        TagCursor cursor(bytes, ByteOrder::big);
        while (readFrame(cursor)) {
        }
        addDate();
        // Frames under their own names come first, and TXXX gains before those of RVA2.
        for (const auto& [name, text] : later_) addText(tags_, name, text);
        const auto fill = [](auto& field, const auto& value) {
            if (!field) field = value;
        };
        fill(tags_.replayGain.trackGainDb, volumes_.trackGainDb);
        fill(tags_.replayGain.trackPeak, volumes_.trackPeak);
        fill(tags_.replayGain.albumGainDb, volumes_.albumGainDb);
        fill(tags_.replayGain.albumPeak, volumes_.albumPeak);
    }

private:
    std::size_t idBytes() const { return version_ == 2 ? 3 : 4; }

    bool isFrameId(TagBytes id) const
    {
        for (const std::uint8_t c : id)
            if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))) return false;
        return id.size() == idBytes();
    }

    /// Whether a frame may end before `rest`: there is the end of the tag, a frame, or nothing but zeros to the end.
    bool mayEndBefore(TagBytes rest) const
    {
        return rest.size() <= paddingBytes_ || (rest.size() >= kHeaderBytes && isFrameId(rest.first(idBytes())));
    }

    /// Sizes of version 2.4 are synchsafe, and yet many programs write plain ones: the reading counts that leads to
    /// where a frame may end.
    std::uint32_t frameBytes(std::uint32_t raw, TagBytes behindHeader) const
    {
        if (version_ < 4) return raw;
        const std::uint32_t size = synchsafe(raw);
        const auto fits = [&](std::uint32_t bytes) {
            return bytes <= behindHeader.size() && mayEndBefore(behindHeader.subspan(bytes));
        };
        const bool plain = raw != size && fits(raw) && ((raw & 0x80808080u) != 0 || !fits(size));
        return plain ? raw : size;
    }

    /// False at the end of the frames.
    bool readFrame(TagCursor& cursor)
    {
        const TagBytes id = cursor.take(idBytes());
        if (!isFrameId(id)) return false;
        const auto raw = static_cast<std::uint32_t>(cursor.number(idBytes()));
        const std::uint32_t flags = version_ == 2 ? 0 : cursor.u16();
        const TagBytes body = cursor.take(frameBytes(raw, version_ == 2 ? TagBytes{} : cursor.rest()));
        if (cursor.failed()) return false;
        readFlagged(asText(id), flags, body);
        return true;
    }

    void readFlagged(std::string_view id, std::uint32_t flags, TagBytes body)
    {
        const bool v3 = version_ == 3;
        if (flags & (v3 ? 0xC0u : 0x0Cu)) return; // compressed or encrypted
        TagCursor cursor(body, ByteOrder::big);
        if (flags & (v3 ? 0x20u : 0x40u)) cursor.take(1); // its group
        if (v3) return readBody(id, cursor);
        if (flags & 0x01u) cursor.take(4); // the length that it has without unsynchronisation
        if (!(flags & 0x02u)) return readBody(id, cursor);
        const auto plain = withoutUnsynchronisation(cursor.rest());
        readBody(id, TagCursor(plain, ByteOrder::big));
    }

    void readBody(std::string_view id, TagCursor body)
    {
        if (id == "TXXX" || id == "TXX") return readUserText(body);
        if (id == "COMM" || id == "COM") return readComment(body);
        if (id == "APIC" || id == "PIC") return readPicture(body);
        if (id == "RVA2") return readVolume(body);
        if (id[0] != 'T') return;
        const EncodedText encoding(body.number(1));
        const std::string text = encoding.next(body);
        if (id == "TYER" || id == "TYE") year_ = text;
        if (id == "TDAT" || id == "TDA") dayMonth_ = text;
        for (const FrameName& frame : kTextFrames)
            if (id == frame.id || id == frame.oldId)
                addText(tags_, frame.name, frame.id == "TCON" ? genreText(text) : text);
    }

    void readUserText(TagCursor body)
    {
        const EncodedText encoding(body.number(1));
        const std::string name = encoding.next(body);
        keepForLater(name, encoding.next(body));
    }

    void readComment(TagCursor body)
    {
        const EncodedText encoding(body.number(1));
        body.take(3); // language
        const std::string description = encoding.next(body);
        const std::string text = encoding.next(body);
        if (description.empty())
            addText(tags_, "COMMENT", text);
        else if (!description.starts_with("iTun")) // numbers of a player: iTunNORM, iTunSMPB
            keepForLater("COMMENT", text);
    }

    void keepForLater(const std::string& name, const std::string& text)
    {
        if (later_.size() < kMostTexts) later_.emplace_back(name, text);
    }

    void readPicture(TagCursor body)
    {
        const EncodedText encoding(body.number(1));
        const TagBytes type = version_ == 2 ? body.take(3) : body.terminated();
        const std::uint64_t purpose = body.number(1);
        encoding.terminated(body); // description
        const bool isLink = asText(type) == "-->";
        if (!isLink && !body.failed()) addPicture(tags_, body.rest(), purpose == 3);
    }

    /// Relative volume adjustment of the master channel: 1/512 dB, and a peak of so many bits.
    void readVolume(TagCursor body)
    {
        const std::string_view purpose = asText(body.terminated());
        const bool isAlbum = purpose == "album";
        if (!isAlbum && purpose != "track") return;
        while (body.rest().size() >= 4) {
            const bool isMaster = body.number(1) == 1;
            const auto gain = static_cast<std::int16_t>(body.u16());
            const auto bits = static_cast<int>(body.number(1));
            double peak = 0;
            for (const std::uint8_t digit : body.take((static_cast<unsigned>(bits) + 7) / 8)) peak = peak * 256 + digit;
            if (!isMaster || body.failed()) continue;
            (isAlbum ? volumes_.albumGainDb : volumes_.trackGainDb) = gain / 512.0;
            // Full scale is 2^(bits − 1), as the writers have it; the document leaves it open.
            if (peak > 0) (isAlbum ? volumes_.albumPeak : volumes_.trackPeak) = std::ldexp(peak, 1 - bits);
            return;
        }
    }

    /// Versions 2.2 and 2.3 keep "2019" and "3112" (day and month) apart.
    void addDate()
    {
        if (year_.size() == 4 && dayMonth_.size() == 4)
            year_ += format("-%s-%.2s", dayMonth_.c_str() + 2, dayMonth_.c_str());
        addText(tags_, "DATE", year_);
    }

    unsigned version_;
    TagSet& tags_;
    std::size_t paddingBytes_ = 0; // zeros at the end of the tag
    std::string year_, dayMonth_;
    std::vector<std::pair<std::string, std::string>> later_; // name and text
    ReplayGain volumes_;
};

/// Behind the extended header that starts the bytes. Its size counts itself in version 2.4 only.
TagBytes behindExtendedHeader(TagBytes bytes, unsigned version)
{
    TagCursor cursor(bytes, ByteOrder::big);
    const std::uint32_t raw = cursor.u32();
    cursor.take(version == 3 ? raw : std::max(synchsafe(raw), 4u) - 4);
    return cursor.rest();
}

} // namespace

void readId3v2(TagBytes tag, TagSet& tags)
{
    TagCursor cursor(tag, ByteOrder::big);
    if (asText(cursor.take(3)) != "ID3") return;
    const auto version = static_cast<unsigned>(cursor.number(1));
    cursor.take(1); // revision
    const auto flags = static_cast<unsigned>(cursor.number(1));
    const std::uint32_t size = synchsafe(cursor.u32());
    const bool compressed = version == 2 && (flags & 0x40) != 0;
    if (cursor.failed() || version < 2 || version > 4 || compressed) return;
    TagBytes body = cursor.rest();
    body = body.first(std::min<std::size_t>(size, body.size()));
    std::vector<std::uint8_t> plain;
    if ((flags & 0x80) != 0 && version < 4) { // in version 2.4 every frame says so itself
        plain = withoutUnsynchronisation(body);
        body = plain;
    }
    if ((flags & 0x40) != 0) body = behindExtendedHeader(body, version);
    Id3v2Reader(version, tags).readFrames(body);
}

bool readId3v2At(ByteSource& source, std::uint64_t offset, std::uint64_t room, TagSet& tags)
{
    const auto head = bytesAt(source, offset, std::min<std::uint64_t>(kHeaderBytes, room));
    if (head.size() < kHeaderBytes || !asText(head).starts_with("ID3")) return false;
    TagCursor cursor(TagBytes(head).subspan(6), ByteOrder::big);
    readId3v2(bytesAt(source, offset, std::min<std::uint64_t>(kHeaderBytes + synchsafe(cursor.u32()), room)), tags);
    return true;
}

std::string genreText(const std::string& text)
{
    if (text.starts_with("((")) return text.substr(1); // a name that starts with a parenthesis
    const bool inParentheses = text.starts_with('(');
    const char* begin = text.data() + (inParentheses ? 1 : 0);
    const char* const end = text.data() + text.size();
    unsigned number = 0;
    const auto parsed = std::from_chars(begin, end, number);
    if (parsed.ec != std::errc{}) return text;
    if (inParentheses && parsed.ptr != end && *parsed.ptr == ')')
        begin = parsed.ptr + 1;
    else if (inParentheses || parsed.ptr != end)
        return text;
    else
        begin = end;
    if (begin != end && *begin != '(') return std::string(begin, end); // the writer's own words for the number
    const std::string name(genreName(number));
    return name.empty() ? text : name;
}

} // namespace tesk
