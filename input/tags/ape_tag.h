// The tags at the end of a file: APEv2 of Monkey's Audio, WavPack, TTA and some MP3 files, and ID3v1.
#pragma once

#include "input/tags/tag_text.h"

namespace tesk {

/// Reads an APE tag, version 1 or 2, at the end of the file or before an ID3v1 tag there. Items in front of a damaged
/// one are kept. Source: APEv2 as the Hydrogenaudio knowledge base has it.
void readApeTag(ByteSource& source, TagSet& tags);

/// Reads the 128 bytes of ID3v1 or ID3v1.1 at the end of the file.
void readId3v1(ByteSource& source, TagSet& tags);

} // namespace tesk
