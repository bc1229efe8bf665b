// What a conversion back to PCM is asked to do.
#pragma once

#include "container/pcm/pcm_writer.h"
#include "container/reader/sacd_area_choice.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tesk {

inline constexpr double kMostGainDb = 144; ///< that anybody can mean, either way

/// Constant after parsing.
struct ReverseSettings {
    std::string inputPath, outputPath;

    std::uint32_t pcmRate = 0;          ///< Hz, a multiple of 44100 or 48000; 0: automatic
    std::int32_t bitDepth = 32;         ///< 16, 24, 32 or 64; 64 is floating point
    bool floatOutput = false;           ///< 32-bit float, whatever bitDepth says
    std::optional<PcmContainer> format; ///< nothing: from the output's extension
    bool wave64 = false;                ///< Wave64 instead of RIFF

    double lowpass = 0;      ///< Hz, pass-band edge; 0: half the PCM rate
    std::uint32_t taps = 0;  ///< of the FIR; 0: from the ratio
    double tapsFactor = 1.0; ///< of the automatic length
    std::uint32_t biquadSections = 4;
    double kaiserBeta = 10.0;
    bool align = false; ///< the filters' delay removed, their tail kept

    bool noiseShaping = true;
    std::vector<double> zeros{0.969, 0.737, 0.424}; ///< fractions of the audio band
    double pole = 0.85;

    std::optional<double> gainDb; ///< nothing: TESK_PDM2PCM_GAIN, or what was set for the process
    bool gainAuto = false;        ///< the largest gain that does not clip

    SacdAreaChoice area = SacdAreaChoice::automatic;
    enum class DiscTracks { whole, one, all, list } discTracks = DiscTracks::whole;
    unsigned discTrack = 0; ///< 1 and up, for `one`

    bool simd = true;    ///< false: plain scalar arithmetic
    std::string logPath; ///< empty: pdm2pcm_<pid>.log in the working folder
    bool help = false;

    /// Integers of bitDepth bits are written, so there is something to requantise.
    bool integerOutput() const { return !floatOutput && bitDepth < 64; }
    bool noiseShaperOn() const { return noiseShaping && integerOutput(); }
};

} // namespace tesk
