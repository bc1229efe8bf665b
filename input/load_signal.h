// From an opened reader to the recording in memory.
#pragma once

#include "engine/base/signal.h"
#include "input/memory_gate.h"
#include "input/pcm_reader.h"

#include <limits>
#include <vector>

namespace tesk {

struct PcmRecording {
    PcmInfo info;
    Signal signal;
};

/// The frames `begin` up to and without `end` of a recording.
struct FrameRange {
    static constexpr std::uint64_t kToTheEnd = std::numeric_limits<std::uint64_t>::max();

    std::uint64_t begin = 0;
    std::uint64_t end = kToTheEnd;
};

/// Frames decoded between two looks at the stop flag.
inline constexpr std::size_t kLoadChunkFrames = 65536;

/// Magnitudes of floating-point samples beyond this are damage, not sound.
inline constexpr double kLargestSample = 1e6;

/// Room for one chunk of frames that nobody keeps.
class FrameScratch {
public:
    explicit FrameScratch(std::uint32_t channels) : samples_(channels, std::vector<double>(kLoadChunkFrames))
    {
        for (auto& channel : samples_) planar_.push_back(channel.data());
    }
    double* const* planar() const { return planar_.data(); }

private:
    std::vector<std::vector<double>> samples_;
    std::vector<double*> planar_;
};

/// Reads all that an opened reader gives, or the frames of a range: the reader seeks there when it can, else what
/// lies before is decoded and dropped.
///
/// Memory is allocated once when the length is known, after the gate has passed the declared length; otherwise it
/// grows while reading, through the gate each time. Floating-point and unchecked samples that are not finite or beyond
/// kLargestSample become 0, with one warning. A difference between declared and real length is a warning too.
///
/// @return  kHostStopped when the host asks to stop; DSD_ERROR_INPUT, with `error` set, for everything else.
///          `recording` is then empty.
Status loadSignal(PcmReader& reader, const LoadContext& context, PcmRecording& recording, std::string& error,
                  FrameRange range = {});

} // namespace tesk
