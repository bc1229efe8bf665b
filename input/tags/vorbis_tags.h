// Vorbis comments, in FLAC files and in Ogg streams of Vorbis, Opus, Speex and FLAC.
#pragma once

#include "input/tags/tag_text.h"

namespace tesk {

/// The metadata blocks of a FLAC file that starts at `offset`. Source: RFC 9639, section 8.
void readFlacTags(ByteSource& source, std::uint64_t offset, TagSet& tags);

/// The header packets of the first stream of an Ogg file that starts at `offset`; at most kLargestTagBlock of it is
/// looked at. Sources: RFC 3533, RFC 7845, Vorbis I, Ogg FLAC mapping.
void readOggTags(ByteSource& source, std::uint64_t offset, TagSet& tags);

} // namespace tesk
