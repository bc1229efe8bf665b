// The tags of MP4 files: the item list that iTunes made, moov/udta/meta/ilst.
#pragma once

#include "input/tags/tag_text.h"

namespace tesk {

/// Reads the item list of an MP4 file that starts at `offset`. Free-form items count under their own names, in any
/// case. Sources: ISO/IEC 14496-12 (boxes); QuickTime File Format, metadata (items).
void readMp4Tags(ByteSource& source, std::uint64_t offset, TagSet& tags);

} // namespace tesk
