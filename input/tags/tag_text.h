// What the readers of the single formats share: bytes out of a file, texts and pictures into a set.
#pragma once

#include "engine/base/byte_writer.h"
#include "input/byte_source.h"
#include "input/tags/tag_set.h"

#include <span>
#include <string_view>

namespace tesk {

inline constexpr std::size_t kLongestText = 65536;       ///< bytes of UTF-8; longer ones are cut
inline constexpr std::size_t kLargestTagBlock = 1 << 26; ///< bytes of one tag that are looked at
inline constexpr std::size_t kMostTexts = 1024;          ///< of one file
inline constexpr std::size_t kMostPictures = 16;         ///< of one file

/// A format's own name of a text, and the canonical one.
struct TagName {
    std::string_view own;
    const char* canonical;
};

using TagBytes = std::span<const std::uint8_t>;

/// Valid UTF-8 up to the first NUL: malformed bytes become U+FFFD, control characters go except tabs and line breaks
/// (CR LF and CR become LF), and what exceeds kLongestText is cut off between two characters.
std::string cleanText(std::string_view text);

/// For the tags that know no encoding: UTF-8 as it is, everything else as Windows-1252.
std::string textOfUnknownEncoding(std::string_view text);

/// Cleans a text and puts it under its canonical name, unless it is empty or the set has one. ReplayGain and R128 names
/// go into `tags.replayGain` as well.
void addText(TagSet& tags, std::string_view name, std::string_view value);

/// Keeps a picture. Of one larger than kLargestCover one byte more is kept: enough to see that it is.
void addPicture(TagSet& tags, TagBytes image, bool frontCover);

/// Gives DATE and COMMENT their second names' texts where they have none. Once, after everything is in.
void settleNames(TagSet& tags);

/// The bytes from `offset` on: `size` of them, or as many as the source has and kLargestTagBlock allows.
std::vector<std::uint8_t> bytesAt(ByteSource& source, std::uint64_t offset, std::uint64_t size);

inline std::string_view asText(TagBytes bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

/// Reads one piece after the other from bytes in memory and never behind their end.
class TagCursor {
public:
    TagCursor(TagBytes bytes, ByteOrder order) : rest_(bytes), order_(order) {}

    /// The next `size` bytes; when they are not all there, none, and the cursor has failed: nothing is left of it.
    TagBytes take(std::uint64_t size)
    {
        if (size > rest_.size()) {
            failed_ = true;
            rest_ = {};
            return {};
        }
        const TagBytes piece = rest_.first(static_cast<std::size_t>(size));
        rest_ = rest_.subspan(piece.size());
        return piece;
    }
    /// The next number of `width` bytes, at most 8; 0 when it is not there.
    std::uint64_t number(std::size_t width)
    {
        const TagBytes bytes = take(width);
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < bytes.size(); ++i)
            value = value << 8 | bytes[order_ == ByteOrder::big ? i : bytes.size() - 1 - i];
        return value;
    }
    std::uint32_t u16() { return static_cast<std::uint32_t>(number(2)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    /// The text up to the next NUL, which is passed as well; the rest when there is none.
    TagBytes terminated();

    TagBytes rest() const { return rest_; }
    bool failed() const { return failed_; }

private:
    TagBytes rest_;
    ByteOrder order_;
    bool failed_ = false;
};

} // namespace tesk
