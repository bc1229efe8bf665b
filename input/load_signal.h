// From an opened reader to the whole recording in memory.
#pragma once

#include "engine/base/signal.h"
#include "input/memory_gate.h"
#include "input/pcm_reader.h"

namespace tesk {

struct PcmRecording {
    PcmInfo info;
    Signal signal;
};

/// Frames decoded between two looks at the stop flag.
inline constexpr std::size_t kLoadChunkFrames = 65536;

/// Magnitudes of floating-point samples beyond this are damage, not sound.
inline constexpr double kLargestSample = 1e6;

/// Reads all that an opened reader gives.
///
/// Memory is allocated once when the length is known, after the gate has passed the declared length; otherwise it
/// grows while reading, through the gate each time. Floating-point samples that are not finite or beyond
/// kLargestSample become 0, with one warning. A difference between declared and real length is a warning too.
///
/// @return  kHostStopped when the host asks to stop; DSD_ERROR_INPUT, with `error` set, for everything else.
///          `recording` is then empty.
Status loadSignal(PcmReader& reader, const LoadContext& context, PcmRecording& recording, std::string& error);

} // namespace tesk
