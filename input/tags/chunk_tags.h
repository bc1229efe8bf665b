// The tags of the WAV and AIFF families: chunks beside the samples.
#pragma once

#include "input/audio_kind.h"
#include "input/tags/tag_text.h"

namespace tesk {

/// Reads the ID3v2 chunk, then LIST INFO (WAV, RF64, BW64, Wave64) or NAME, AUTH and ANNO (AIFF, AIFC) into what it
/// left open. Sources: RIFF Multimedia Programming Interface 1.0; EBU Tech 3306; AIFF-C draft of 1991 (Apple).
void readChunkTags(ByteSource& source, AudioKind kind, TagSet& tags);

} // namespace tesk
