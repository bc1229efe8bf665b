// What stands behind the sound of a DSDIFF file: comments, and the names that players show.
#pragma once

#include "container/byte_sink.h"
#include "engine/base/metadata.h"
#include "platform/local_time.h"

#include <cstdint>
#include <vector>

namespace tesk {

/// The "COMT" chunk. Every field with a value is a general comment ("Title: ..."); the creating machine and the
/// encoder always follow as file history. Texts are UTF-8.
std::vector<std::uint8_t> commentChunk(const MetadataRecord& metadata, const platform::LocalTime& writtenAt);

/// The "DIIN" chunk with artist (DIAR) and title (DITI); no bytes when both are missing.
std::vector<std::uint8_t> masterInformationChunk(const MetadataRecord& metadata);

/// Appends both chunks and makes the form's size true. Where the output cannot seek, the size stays as it is and the
/// warnings say so: a reader that stops at the form's end misses the comments, not the sound.
Status writeDffComtTag(ByteSink& stream, const MetadataRecord& metadata, const platform::LocalTime& writtenAt,
                       Reporter& report);

} // namespace tesk
