// The way in for a forward conversion: from a path to the whole recording.
#pragma once

#include "input/load_signal.h"

#include <string>

namespace tesk {

/// Chooses the decoder by the file's extension and decodes the whole file.
///
///     .wav .wave .w64 .aiff .aif .aifc    WAV family
///     .flac .fla                          FLAC
///     .tta .wv .wvc                       not read by this version
///     .alac .m4a .mp4 .caf .ape .mac      for decoders loaded at run time, not read by this version
///     any other, or none                  WAV family, then FLAC: the first that opens wins
///
/// A known extension is believed: a FLAC file called .wav is refused, with a text that says what it is.
///
/// @return  DSD_ERROR_INPUT, DSD_ERROR_UNSUPPORTED or kHostStopped, with `error` set and `recording` empty
Status open_pcm(const std::string& path, const LoadContext& context, PcmRecording& recording, std::string& error);

/// The lines that tell what was loaded.
void reportLoaded(const std::string& path, const PcmRecording& recording, Reporter& report);

} // namespace tesk
