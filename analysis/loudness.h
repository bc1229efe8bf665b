// Loudness of a recording (ITU-R BS.1770-4, EBU R 128, EBU Tech 3342).
#pragma once

#include "engine/base/result.h"
#include "engine/base/stop_flag.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace tesk::analysis {

/// Meters sound that comes in pieces. Channels are L R, L R Ls Rs, L R C Ls Rs, L R C LFE Ls Rs or those of WAVE's 7.1,
/// the LFE counting for the peak alone; with any other number all from the sixth on count like the front ones.
class LoudnessMeter {
public:
    /// @param channels  1 to 64
    /// @param rate      Hz, 16 to 2822400
    /// @param truePeak  whether the peak between the samples is looked for, which takes most of the time
    LoudnessMeter(std::size_t channels, std::uint32_t rate, bool truePeak);

    /// Whether the meter could be had; nothing else may be called otherwise.
    bool works() const { return state_ != nullptr; }
    /// `count` frames from `at` on of planar channels. False when the memory is out.
    bool add(std::span<const double* const> channels, std::uint64_t at, std::size_t count);

    /// LUFS; nothing for silence and for less than 400 ms.
    std::optional<double> integrated() const;
    /// LU; 0 for what is too short to have one.
    double range() const;
    /// dB over full scale of the largest channel, at four times the rate below 96 kHz and twice below 192 kHz.
    double truePeakDb() const;

private:
    struct Closer {
        void operator()(void* state) const;
    };
    std::unique_ptr<void, Closer> state_; // the library's
    std::vector<double> interleaved_;
};

struct Loudness {
    double integratedLufs, rangeLu, truePeakDb;
};

/// Meters a whole recording: planar, full scale ±1.
///
/// @return  no loudness for silence and for less than 400 ms; kHostStopped when a stop request waits, DSD_ERROR_INIT
///          when the meter cannot be had
Result<std::optional<Loudness>, PDM_ENCODING_STATUS> measureLoudness(std::span<const double* const> channels,
                                                                     std::uint64_t frames, std::uint32_t rate,
                                                                     const StopFlag& stop);

} // namespace tesk::analysis
