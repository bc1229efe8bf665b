// Which decoder reads a file.
#pragma once

#include "input/memory_gate.h"
#include "input/pcm_reader.h"

#include <memory>
#include <string>

namespace tesk {

/// Chooses by the file's extension and opens the file.
///
///     .wav .wave .w64 .aiff .aif .aifc    WAV family
///     .flac .fla                          FLAC
///     .tta                                TTA
///     .wv .wvc                            WavPack
///     .alac .m4a .mp4 .caf .ape .mac      the context's stream loader
///     any other, or none                  these five in this order: the first that opens wins
///
/// A known extension is believed: a FLAC file called .wav is refused, with a text that says what it is.
///
/// @return  null with `error` set when nobody opens it
std::unique_ptr<PcmReader> openReader(const std::string& path, const LoadContext& context, std::string& error);

} // namespace tesk
