// The file of an oversampled PCM output: its name, its form, and the level that the quantiser options ask for.
#pragma once

#include "container/pcm/pcm_writer.h"
#include "pipeline/pcm2pdm.h"

#include <optional>
#include <string>

namespace tesk {

struct DxdTarget {
    PcmContainer container = PcmContainer::wave;
    const char* name = ""; ///< "WAV", "Wave64", "FLAC"
    PcmFormat format;      ///< rate and channels are those of the job
    std::string path;
};

/// Where the PCM for this output goes: beside it, under the input's name or the CUE track's with ".DXD", unless the
/// output's name is exact.
std::string dxdPath(const ConversionSettings& settings, const std::string& output);

/// Folder of the output, stem of the input (of the output, where a CUE sheet names its tracks), ".DXD.", extension.
/// Nothing, with the reason printed, for an extension that no PCM container has.
std::optional<DxdTarget> dxdTarget(const ConversionSettings& settings, Reporter& report);

/// Scales and limits the samples on their way to the file, as -qt and -qr ask.
///
///     peak       the largest magnitude becomes the ratio (1 unless given)
///     rms        the RMS over all channels becomes the ratio (0.125, −18 dB, unless given)
///     hardlimit  no sample exceeds the ratio (1 unless given)
class PcmQuantizer {
public:
    explicit PcmQuantizer(const ConversionSettings& settings);

    /// Whether the whole signal has to be seen before the first sample is written.
    bool needsMeasure() const { return mode_ == Mode::peak || mode_ == Mode::rms; }
    /// Sees [channels][samples].
    void measure(const double* const* channels, std::uint32_t channelCount, std::size_t samples);
    /// Settles the gain, with its line.
    void settle(Reporter& report);
    void apply(double* const* channels, std::uint32_t channelCount, std::size_t samples) const;

private:
    enum class Mode { none, peak, rms, hardLimit };
    Mode mode_ = Mode::none;
    double ratio_ = 1.0, gain_ = 1.0;
    double peak_ = 0, energy_ = 0;
    std::uint64_t seen_ = 0; // samples of all channels
};

} // namespace tesk
