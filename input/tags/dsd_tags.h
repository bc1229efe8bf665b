// The tags of DSF and DSDIFF files.
#pragma once

#include "input/tags/tag_text.h"

namespace tesk {

/// The ID3v2 tag that the header of a DSF file points to. Source: DSF File Format 1.01 (Sony).
void readDsfTags(ByteSource& source, TagSet& tags);

/// The ID3 chunk of a DSDIFF file, wherever it stands; then artist and title of its edited master information, and
/// the first general comment. Source: DSDIFF File Format 1.5 (Philips).
void readDsdiffTags(ByteSource& source, TagSet& tags);

} // namespace tesk
