// The way in for a forward conversion: from a path to the recording, or a piece of it.
#pragma once

#include "input/load_signal.h"

#include <string>

namespace tesk {

/// Decodes the file, or those frames of it, with the decoder that openReader chooses.
///
/// @return  DSD_ERROR_INPUT or kHostStopped, with `error` set and `recording` empty
Status open_pcm(const std::string& path, const LoadContext& context, PcmRecording& recording, std::string& error,
                FrameRange range = {});

/// What a file is and how many frames it really holds. Where only decoding can tell, it is decoded for that; so a
/// piece of the file can be asked for by its exact place.
struct PcmLength {
    PcmInfo info;
    std::uint64_t frames = 0;
};
Status measurePcm(const std::string& path, const LoadContext& context, PcmLength& length, std::string& error);

/// The lines that tell what was loaded.
void reportLoaded(const std::string& path, const PcmRecording& recording, Reporter& report);

} // namespace tesk
