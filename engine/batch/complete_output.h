// Whether an output of an earlier run is whole, so that a batch can leave it as it is.
#pragma once

#include <string>

namespace tesk {

/// True for a DSF, DSDIFF, WSD, WAV, RF64, Wave64 or FLAC file, told by its content, whose header agrees with the
/// file's length and which lasts as long as expected. False for what is missing, cut, of unknown length or anything
/// else. Nothing is decoded, except the last frame of a FLAC file, whose header counts no bytes.
/// @param expectedSeconds  of the source; at most 0.05 s less are whole too. Negative: unknown
bool outputIsComplete(const std::string& path, double expectedSeconds = -1.0);

} // namespace tesk
