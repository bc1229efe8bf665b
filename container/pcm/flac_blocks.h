// The metadata blocks of a FLAC file: tags, cover, seek table, padding.
#pragma once

#include "container/pcm/pcm_writer.h"

#include <FLAC/metadata.h>
#include <memory>
#include <vector>

namespace tesk {

struct FlacBlockDeleter {
    void operator()(FLAC__StreamMetadata* block) const { FLAC__metadata_object_delete(block); }
};
using FlacBlock = std::unique_ptr<FLAC__StreamMetadata, FlacBlockDeleter>;

/// Vorbis comments (TITLE, ARTIST, ALBUM, GENRE, DATE, WORK, COMMENT, TRACKNUMBER, ISRC, and always ENCODER), a front
/// cover when there is one, 8 KiB of padding. A cover that is too large for a block or neither JPEG nor PNG is left out
/// with a warning. Null pointers in it: out of memory.
std::vector<FlacBlock> flacBlocks(const MetadataRecord& metadata, Reporter& report);

/// A seek point every ten seconds, for as long as the sound may become: two hours when that is unknown, eleven at most.
/// The encoder fills them in. Null: out of memory.
FlacBlock seekTable(std::uint32_t sampleRate, std::uint64_t expectedFrames);

/// Turns the points that the sound has not reached into placeholders.
void dropPointsBehind(FLAC__StreamMetadata& seekTable, std::uint64_t frames);

} // namespace tesk
