// ID3v2, the tag in front of an MP3 and inside many other files.
#pragma once

#include "input/tags/tag_text.h"

namespace tesk {

/// Reads one tag of version 2.2, 2.3 or 2.4 that starts with "ID3"; anything else adds nothing, a damaged tag what
/// stands before the damage. Compressed and encrypted frames are passed over. Frame sizes of version 2.4 that were
/// written as plain numbers are recognised by what follows the frame.
/// Sources: id3v2-00, id3v2.3.0, id3v2.4.0-structure and -frames (M. Nilsson).
void readId3v2(TagBytes tag, TagSet& tags);

/// The tag at `offset` of a source, within the `room` bytes that its surroundings leave it. False when there is none.
bool readId3v2At(ByteSource& source, std::uint64_t offset, std::uint64_t room, TagSet& tags);

/// ID3's genre texts "(17)", "17" and "(17)Hard Rock" as a name; other texts as they are.
std::string genreText(const std::string& text);

/// The name of an ID3 genre number, 0 to 191; empty for others.
std::string_view genreName(unsigned number);

} // namespace tesk
