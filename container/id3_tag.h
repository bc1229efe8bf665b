// The ID3v2.4 tag of DSF and WAV files.
#pragma once

#include "container/byte_sink.h"
#include "engine/base/metadata.h"

#include <cstdint>
#include <vector>

namespace tesk {

/// How the sizes of frames are told.
enum class Id3FrameSizes {
    plain,    ///< 32-bit numbers, although the header says version 4: what players of DSF files have always been given
    synchsafe ///< four times seven bits, as ID3v2.4.0 has it
};

/// The tag's bytes, or none when no field of the record is set. A cover that is neither JPEG nor PNG is written all the
/// same, with a warning.
std::vector<std::uint8_t> id3Tag(const MetadataRecord& metadata, Reporter& report,
                                 Id3FrameSizes sizes = Id3FrameSizes::plain);

/// The picture's bytes: the file at `coverPath` when that is given, else `coverImage`; empty when there is none. A file
/// that is empty, larger than 16 MiB or unreadable is left out with a warning.
std::vector<std::uint8_t> coverOf(const MetadataRecord& metadata, Reporter& report);

/// Appends the tag, when there is one, and stores its position in the header. `position` receives the offset of the
/// tag, or 0.
Status writeId3TagDSF(ByteSink& sink, const MetadataRecord& metadata, Reporter& report, std::uint64_t& position);

} // namespace tesk
