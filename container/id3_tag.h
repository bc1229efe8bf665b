// The ID3v2.4 tag at the end of a DSF file.
#pragma once

#include "container/byte_sink.h"
#include "engine/base/metadata.h"

#include <cstdint>
#include <vector>

namespace tesk {

/// The tag's bytes, or none when no field of the record is set. Frame sizes are plain 32-bit numbers, not synchsafe,
/// although the header says version 4: what players of DSF files have always been given. The cover file is read
/// here; one that is empty, larger than 16 MiB or unreadable is left out with a warning.
std::vector<std::uint8_t> id3Tag(const MetadataRecord& metadata, Reporter& report);

/// Appends the tag, when there is one, and stores its position in the header. `position` receives the offset of the
/// tag, or 0.
Status writeId3TagDSF(ByteSink& sink, const MetadataRecord& metadata, Reporter& report, std::uint64_t& position);

} // namespace tesk
