// Level, noise and spurious tones of one channel, from one long windowed transform.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tesk::analysis {

/// One peak of a spectrum. Levels are peak levels: 0 dBFS is a sine of amplitude 1.
struct Component {
    double hz = 0.0;
    double dbfs = -400.0;
};

/// Kaiser-windowed (β = 38) power spectrum of a segment, its mean removed.
///
/// With β = 38 the window's side lobes lie below double precision, so that nothing but the main lobe, `skirt()` bins
/// to either side of a tone, needs to be left out when the noise next to a tone is added up.
class Spectrum {
public:
    /// @param segment  [n], n a power of two of at least 4096; full scale ±1
    /// @param rate     Hz
    Spectrum(std::span<const double> segment, double rate);

    std::size_t bins() const { return power_.size(); } ///< n/2 + 1, DC and half the rate included
    double binHz() const { return binHz_; }
    double rate() const { return rate_; }
    double mean() const { return mean_; } ///< weighted by the window; full scale ±1

    /// The share of a bin in the mean square of the segment. Bins add up to it, whatever the window.
    double power(std::size_t bin) const { return power_[bin]; }
    /// What a sine in the middle of this bin would read, dBFS.
    double sineDb(std::size_t bin) const;

    static constexpr std::size_t skirt() { return 14; }

private:
    double rate_, binHz_, mean_ = 0.0;
    double sineScale_ = 0.0; // from a bin's power to the power of a sine centred on it
    std::vector<double> power_;
};

/// Band limits of the readings, Hz.
struct Bands {
    double low = 20.0;
    double high = 20000.0;
    double outsideHigh = 100000.0;
};

struct Readings {
    std::vector<Component> tones; ///< one for each frequency asked for
    double noiseDbfs = -400.0;    ///< everything in [low, high] but the tones' skirts; a full-scale sine is 0 dBFS
    double noiseADbfs = -400.0;   ///< the same, A-weighted (IEC 61672-1)
    double noise40Dbfs = -400.0;  ///< the same, weighted with the inverse of the 40 phon contour; 1 at 1 kHz
    double snrDb = 0.0;           ///< the tones' power over that noise; distortion counts as noise
    Component spur;               ///< the largest peak in [low, high] but the tones
    Component outside;            ///< the largest peak in (high, outsideHigh] but the tones
    double dc = 0.0;              ///< full scale ±1
};

/// Reads the spectrum. A tone is the largest peak within a skirt of the frequency asked for, and its level the power of
/// its whole skirt, so a frequency between two bins reads like one on a bin.
Readings readSpectrum(const Spectrum& spectrum, const std::vector<double>& toneHz, const Bands& bands = {});

struct BandLevel {
    double lowHz, highHz, dbfs; ///< a full-scale sine is 0 dBFS
};

/// Everything from DC to half the rate, in octaves around the audio band: up to 20 Hz, 20 to 40 Hz, ...
/// A band that no bin falls into is left out.
std::vector<BandLevel> octaveLevels(const Spectrum& spectrum);

/// Gain of the A-weighting, 1 at 1 kHz. Source: IEC 61672-1, annex E.
double aWeighting(double hz);

/// The largest peak within [lowHz, highHz]: for a caller who does not know the tone.
Component largestPeak(const Spectrum& spectrum, double lowHz, double highHz);

} // namespace tesk::analysis
