// The tags of a Core Audio file: its "info" chunk.
#pragma once

#include "input/tags/tag_text.h"

namespace tesk {

/// Source: Core Audio Format 1.0 (Apple), "Information Chunk".
void readCafInfo(ByteSource& source, TagSet& tags);

} // namespace tesk
