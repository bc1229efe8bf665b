// Tags of RIFF and Wave64 files, as whole chunks.
#pragma once

#include "engine/base/metadata.h"
#include "engine/base/reporter.h"

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tesk {

/// "LIST" with "INFO" (UTF-8, each text ended by a zero) and "id3 " with an ID3v2.4 tag, the cover in the latter.
/// Nothing when the record has no field of the user's. `work` has no place in either.
std::vector<std::uint8_t> riffTags(const MetadataRecord& metadata, Reporter& report);

/// The summary list of Sony Wave64: the keys of INFO with UTF-16 texts. There is no place for a cover.
std::vector<std::uint8_t> wave64Tags(const MetadataRecord& metadata);

/// The identifier of a Wave64 chunk: four letters and the twelve bytes that all but the first chunk share.
std::array<std::uint8_t, 16> wave64Guid(std::string_view letters);

} // namespace tesk
