// What the oversampling low-pass shall be: from the wishes of the settings to a plan without open values.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/result.h"

#include <vector>

namespace tesk {

/// One bump of the FIR equaliser.
struct FilterEqBand {
    int centreHz = 0;
    double gainDb = 0.0;
    int widthHz = 0; ///< between the points of half the bump's height; a width of 0 or less does nothing
};

enum FilterType : int { filterStandard = 0, filterSlowRollOff = 1, filterMinimumPhase = 2 };
enum FilterWindow : int {
    windowNone = -1,
    windowKaiser = 0,
    windowBlackman = 1,
    windowFlatTop = 2,
    windowBartlett = 3,
    windowHamming = 4,
    windowHanning = 5
};

/// The settings' side; 0 asks for the automatic value where a field says so.
struct FilterRequest {
    int sampleRate = 44100;     ///< fs, Hz: the rate entering the oversampler
    int sourceRate = 44100;     ///< Hz: the rate of the file, before any resampling
    int oversampling = 64;      ///< L = one-bit rate / fs
    int bitDepth = 24;          ///< of the source; below 1 means 24
    double stopGainAlpha = 0.0; ///< dB; 0: 2·alphaScale·A
    double alphaScale = 0.0;    ///< not positive: L/64
    int passbandCutoff = 0;     ///< Hz, Remez only; 0: fs/2
    int stopbandCutoff = 0;     ///< Hz, Remez only; 0: passband + 4096
    double deltaF = 0.0;        ///< Hz, transition width for the tap estimate; 0: stopband − passband
    int taps = 0;               ///< even, at least 512; 0: estimated
    double beta = 0.0;          ///< of the Kaiser window; 0: by the rate
    bool highBandwidth = false;
    int filterType = filterStandard;
    int windowType = windowKaiser;
    int apodizingMode = 0;     ///< 0 off, 1 light, 2 normal, 3 aggressive
    bool minimumPhase = false; ///< window method only; filterMinimumPhase asks for it too
    bool remez = false;
    int gridDensity = 128;   ///< Remez only: grid points per half ripple, at least 1
    int maxIterations = 200; ///< Remez only, at least 1
    std::vector<FilterEqBand> eqBands{};
    bool predistortion = true;
    double pcmSampleRateRatio = 1.0; ///< splits L into phases; not positive: 1 with a warning
    int pdmChannels = 2;             ///< only reported
};

/// Everything settled; nobody changes it afterwards.
struct FilterPlan {
    int sampleRate = 0; ///< fs, Hz; 0: there is nothing to design
    int sourceRate = 0; ///< Hz
    int oversampling = 0;
    double alpha = 0.0; ///< dB below 1 where the stopband is asked to lie
    double alphaScale = 0.0;
    int passbandCutoff = 0; ///< Hz
    int stopbandCutoff = 0; ///< Hz
    double deltaF = 0.0;    ///< Hz
    int taps = 0;           ///< N
    double beta = 0.0;
    int phases = 0;       ///< P = round(L / ratio), at least 1
    int tapsPerPhase = 0; ///< N / P, at least 1; N mod P coefficients have no place in it
    int filterType = 0, windowType = 0, apodizingMode = 0;
    bool minimumPhase = false, remez = false, predistortion = false;
    int gridDensity = 0, maxIterations = 0; ///< of the Remez exchange
    std::vector<FilterEqBand> eqBands{};

    /// R = L·fs in Hz, the rate at which the coefficients run.
    double designRate() const { return static_cast<double>(oversampling) * sampleRate; }
};

/// Settles and prints the plan, in the order of the report's lines.
///
/// @return DSD_ERROR_ASSERT, with the reason printed, for a Remez filter whose stopband does not begin above its
///         passband, and for a tap count that is odd, below 512 or too small to give every phase one tap.
Result<FilterPlan, PDM_ENCODING_STATUS> settleFilter(const FilterRequest& request, Reporter& reporter);

/// A = floor(6.02·bits − 10) in dB, within 60 and 144: what a source of this depth can show.
int sourceAttenuationDb(int bitDepth);

/// Taps for a window design, a power of two in [4096, 2^20].
///
/// @param alpha     dB
/// @param width     L·delta f, Hz, and `rate` L·fs, Hz: a width or rate that is not positive gives 4096
/// @param oversampling  L: the estimate ends at 4096 taps per phase before it is rounded up
/// Source: Kaiser's (alpha − 7.95) / (14.36·width/rate).
int estimateWindowTaps(double alpha, double width, double rate, int oversampling);

struct RemezTapEstimate {
    int taps = 0;             ///< a power of two in [512, 2048]
    bool invalidRate = false; ///< the rate was not positive, 44100 was used
    bool clamped = false;     ///< the estimate lay above 2048, where the exchange no longer converges reliably
};

/// @param passbandHz, stopbandHz  cutoffs; 100 Hz apart when they are not in order
/// @param alpha                   dB
/// @param rate                    Hz
RemezTapEstimate estimateRemezTaps(double passbandHz, double stopbandHz, double alpha, double rate);

} // namespace tesk
